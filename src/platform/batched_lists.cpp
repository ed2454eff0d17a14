#include "platform/batched_lists.h"

#include <algorithm>

namespace kit::config {

namespace {

// The room every list parses its batches into, and the list whose batch is in it.
struct BatchRoom {
  simdjson::dom::parser parser{simdjson::SIMDJSON_MAXSIZE_BYTES};
  List* holder = nullptr;
};

BatchRoom& batchRoom() {
  static BatchRoom room;
  return room;
}

std::unique_ptr<List> newList(Document& doc, const ListLayout& layout, size_t id, size_t maxBatch,
                              simdjson::error_code& err) {
  auto list = std::make_unique<List>();
  list->id = id;
  list->layout = layout;
  list->tree.owner = &doc;
  list->tree.list = list.get();
  list->tree.parser = &batchRoom().parser;
  // Batches are parsed into the same room, so a value kept past its batch
  // reads another entry's data rather than freed memory.
  simdjson::dom::parser& parser = batchRoom().parser;
  err = parser.capacity() < maxBatch ? parser.allocate(maxBatch) : simdjson::SUCCESS;
  return list;
}

size_t largestBatch(const ListLayout& list) {
  size_t most = 0;
  for (size_t b = 0; b + 1 < list.cuts.size(); ++b) most = std::max(most, list.cuts[b + 1] - list.cuts[b] + 1);
  return most;
}

// Parses batch `b` in place, its cut bytes made brackets (or braces) for the moment.
bool loadBatch(Document& doc, List& list, size_t b) {
  BatchRoom& room = batchRoom();
  if (b == list.batch && room.holder == &list) return true;
  if (room.holder != nullptr && room.holder != &list) {
    room.holder->batch = SIZE_MAX;
    room.holder->tree.clear();
  }
  room.holder = &list;
  list.batch = SIZE_MAX;
  list.tree.clear();
  char* open = doc.text + list.layout.cuts[b];
  char* close = doc.text + list.layout.cuts[b + 1];
  const char before = *open, after = *close;
  *open = list.members ? '{' : '[';
  *close = list.members ? '}' : ']';
  // The document keeps copies of the strings; the text is restored at once.
  simdjson::error_code err = room.parser.parse(open, static_cast<size_t>(close - open) + 1, false).get(list.root);
  *open = before;
  *close = after;
  if (err) return false;
  uint64_t raw[2];
  toRaw(list.root, raw);
  list.rootId = raw[1];
  list.batch = b;
  list.tree.text = open;
  list.tree.fileOffset = list.layout.cuts[b];
  return true;
}

}  // namespace

List::~List() {
  if (batchRoom().holder == this) batchRoom().holder = nullptr;
}

simdjson::error_code parseSkeleton(Document& doc, const Layout& layout, simdjson::dom::element& root) {
  const char* text = doc.text;
  size_t from = 0;
  size_t maxBatch = 0;
  auto leaveOut = [&](const ListLayout& list) {
    doc.skeletonPieces.emplace_back(doc.skeleton.size(), from);
    doc.skeleton.insert(doc.skeleton.end(), text + from, text + list.cuts.front() + 1);
    from = list.cuts.back();
    maxBatch = std::max(maxBatch, largestBatch(list));
  };
  for (const ListLayout& list : layout.lists) leaveOut(list);
  if (!layout.members.cuts.empty()) leaveOut(layout.members);
  doc.skeletonPieces.emplace_back(doc.skeleton.size(), from);
  doc.skeleton.insert(doc.skeleton.end(), text + from, text + doc.len);
  const size_t skeletonLen = doc.skeleton.size();
  doc.skeleton.resize(skeletonLen + simdjson::SIMDJSON_PADDING, '\0');
  if (auto err = doc.slot->parse(doc.skeleton.data(), skeletonLen, root)) return err;
  doc.main.text = doc.skeleton.data();
  simdjson::error_code err = simdjson::SUCCESS;
  if (!layout.members.cuts.empty()) {
    uint64_t raw[2];
    toRaw(root, raw);
    doc.lists.push_back(newList(doc, layout.members, raw[1], maxBatch, err));
    doc.lists.back()->members = true;
    return err;
  }
  simdjson::dom::object top;
  if (auto e = root.get_object().get(top)) return e;
  auto list = layout.lists.begin();
  uint32_t ordinal = 0;
  for (auto field : top) {
    if (list == layout.lists.end()) break;
    if (ordinal++ != list->ordinal) continue;
    if (!field.value.is_array()) return simdjson::TAPE_ERROR;
    uint64_t raw[2];
    toRaw(field.value, raw);
    doc.lists.push_back(newList(doc, *list++, raw[1], maxBatch, err));
    if (err) return err;
  }
  return list == layout.lists.end() ? simdjson::SUCCESS : simdjson::TAPE_ERROR;
}

bool listEntry(Document& doc, List& list, uint32_t index, simdjson::dom::element& out) {
  const std::vector<uint32_t>& firsts = list.layout.firsts;
  if (index >= firsts.back()) return false;
  size_t b = list.batch;
  if (b == SIZE_MAX || index < firsts[b] || index >= firsts[b + 1])
    b = static_cast<size_t>(std::upper_bound(firsts.begin(), firsts.end(), index) - firsts.begin()) - 1;
  simdjson::dom::array entries;
  if (!loadBatch(doc, list, b) || list.root.get_array().get(entries)) return false;
  return list.tree.elementAt(entries, list.rootId, index - firsts[b], out);
}

bool memberBatch(Document& doc, List& list, size_t b, simdjson::dom::object& out) {
  if (b + 1 >= list.layout.cuts.size()) return false;
  return loadBatch(doc, list, b) && !list.root.get_object().get(out);
}

}  // namespace kit::config
