#include "platform/batched_lists.h"

#include <algorithm>

namespace kit::config {

simdjson::error_code parseSkeleton(Document& doc, const Layout& layout, simdjson::dom::element& root) {
  const char* text = doc.text;
  size_t from = 0;
  size_t maxBatch = 0;
  for (const ListLayout& list : layout.lists) {
    doc.skeletonPieces.emplace_back(doc.skeleton.size(), from);
    doc.skeleton.insert(doc.skeleton.end(), text + from, text + list.cuts.front() + 1);
    from = list.cuts.back();
    for (size_t b = 0; b + 1 < list.cuts.size(); ++b) maxBatch = std::max(maxBatch, list.cuts[b + 1] - list.cuts[b] + 1);
  }
  doc.skeletonPieces.emplace_back(doc.skeleton.size(), from);
  doc.skeleton.insert(doc.skeleton.end(), text + from, text + doc.len);
  const size_t skeletonLen = doc.skeleton.size();
  doc.skeleton.resize(skeletonLen + simdjson::SIMDJSON_PADDING, '\0');
  if (auto err = doc.slot->parse(doc.skeleton.data(), skeletonLen, root)) return err;
  doc.main.text = doc.skeleton.data();
  simdjson::dom::object top;
  if (auto err = root.get_object().get(top)) return err;
  auto list = layout.lists.begin();
  uint32_t ordinal = 0;
  for (auto field : top) {
    if (list == layout.lists.end()) break;
    if (ordinal++ != list->ordinal) continue;
    if (!field.value.is_array()) return simdjson::TAPE_ERROR;
    auto entry = std::make_unique<List>();
    uint64_t raw[2];
    toRaw(field.value, raw);
    entry->id = raw[1];
    entry->layout = *list++;
    entry->tree.owner = &doc;
    entry->tree.parser = &entry->parser;
    // Batches are parsed into the same room, so a value kept past its batch
    // reads another entry's data rather than freed memory.
    if (auto err = entry->parser.allocate(maxBatch)) return err;
    doc.lists.push_back(std::move(entry));
  }
  return list == layout.lists.end() ? simdjson::SUCCESS : simdjson::TAPE_ERROR;
}

bool listEntry(Document& doc, List& list, uint32_t index, simdjson::dom::element& out) {
  const std::vector<uint32_t>& firsts = list.layout.firsts;
  if (index >= firsts.back()) return false;
  size_t b = list.batch;
  if (b == SIZE_MAX || index < firsts[b] || index >= firsts[b + 1])
    b = static_cast<size_t>(std::upper_bound(firsts.begin(), firsts.end(), index) - firsts.begin()) - 1;
  if (b != list.batch) {
    list.batch = SIZE_MAX;
    list.tree.clear();
    char* open = doc.text + list.layout.cuts[b];
    char* close = doc.text + list.layout.cuts[b + 1];
    const char before = *open, after = *close;
    *open = '[';
    *close = ']';
    // The document keeps copies of the strings; the text is restored at once.
    simdjson::dom::element root;
    simdjson::error_code err = list.parser.parse(open, static_cast<size_t>(close - open) + 1, false).get(root);
    *open = before;
    *close = after;
    if (err || root.get_array().get(list.entries)) return false;
    uint64_t raw[2];
    toRaw(root, raw);
    list.entriesId = raw[1];
    list.batch = b;
    list.tree.text = open;
    list.tree.fileOffset = list.layout.cuts[b];
  }
  return list.tree.elementAt(list.entries, list.entriesId, index - firsts[b], out);
}

}  // namespace kit::config
