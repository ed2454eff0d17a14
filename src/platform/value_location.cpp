// Where values stand in their file. simdjson's document keeps no positions,
// but the parser's structural index does: one entry per bracket, colon, comma
// and start of a scalar, in text order, while the tape holds one entry per
// value, key and closing bracket in the same order (numbers take two). Walking
// both together, colons and commas skipped, turns a tape entry into a text
// offset, and the file's line index that offset's line and columns. Nothing
// here runs unless a finding asks for its place.
#include <algorithm>

#include "platform/batched_lists.h"
#include "platform/kit_document.h"

namespace kit::config {

namespace {

constexpr size_t kTapeMarkEvery = 64;  // tape entries: a value asked out of order costs at most this walk

// The last of `marks` (sorted by `field`) at or before `at`; null when none is.
template <class Mark, class Field>
const Mark* lastMarkUpTo(const std::vector<Mark>& marks, size_t at, Field Mark::*field) {
  auto after = std::upper_bound(marks.begin(), marks.end(), at, [&](size_t a, const Mark& m) { return a < m.*field; });
  return after == marks.begin() ? nullptr : &*(after - 1);
}

// Offset in the tree's text of the structural that tape entry `index` starts at.
bool textOffset(Tree& tree, const simdjson::dom::document& doc, size_t index, size_t& out) {
  if (tree.parser == nullptr || tree.text == nullptr || index == 0) return false;
  const auto& impl = *tree.parser->implementation;
  const uint32_t* structurals = impl.structural_indexes.get();
  const uint32_t count = impl.n_structural_indexes;
  const uint64_t* tape = doc.tape.get();
  const char* text = tree.text;

  // Start from the last mark at or before `index`.
  size_t t = 1;
  uint32_t s = 0;
  if (const Tree::TapeMark* mark = lastMarkUpTo(tree.tapeMarks, index, &Tree::TapeMark::tape)) {
    t = mark->tape;
    s = mark->structural;
  }
  if (tree.lastAsked.tape > t && tree.lastAsked.tape <= index) {
    t = tree.lastAsked.tape;
    s = tree.lastAsked.structural;
  }
  // The first structural is the root value; a batch's may read as a comma,
  // since its bracket was put there only for the parse.
  auto skipSeparators = [&] {
    while (s > 0 && s < count && (text[structurals[s]] == ':' || text[structurals[s]] == ',')) ++s;
  };
  for (;;) {
    skipSeparators();
    if (s >= count) return false;
    if (t >= index) break;
    const char type = static_cast<char>(tape[t] >> 56);
    t += type == 'l' || type == 'u' || type == 'd' ? 2 : 1;
    ++s;
    if (t / kTapeMarkEvery > (tree.tapeMarks.empty() ? 0 : tree.tapeMarks.back().tape / kTapeMarkEvery))
      tree.tapeMarks.push_back(Tree::TapeMark{t, s});
  }
  if (t != index) return false;
  tree.lastAsked = Tree::TapeMark{t, s};
  out = structurals[s];
  return true;
}

// File offset of an offset in the tree's text.
size_t fileOffset(const Tree& tree, size_t offset) {
  const Document& doc = *tree.owner;
  if (&tree != &doc.main || doc.skeletonPieces.empty()) return tree.fileOffset + offset;
  const auto* piece = lastMarkUpTo(doc.skeletonPieces, offset, &std::pair<size_t, size_t>::first);  // the first starts at 0
  return piece->second + (offset - piece->first);
}

// The place of the token at an offset of the file (see Location).
Location placeToken(Document& doc, size_t offset) {
  if (offset > doc.len) return Location{};
  if (!doc.lines.built) doc.lines.build(doc.text, doc.len);
  return place(doc.text, doc.len, offset, offset + tokenLength(doc.text + offset, doc.text + doc.len), &doc.lines);
}

Anchor anchorTape(Tree* tree, const uint64_t raw[2]) {
  if (!positionsWanted() || tree == nullptr) return Anchor{};
  const auto* doc = reinterpret_cast<const simdjson::dom::document*>(raw[0]);
  size_t offset = 0;
  if (doc == nullptr || !textOffset(*tree, *doc, raw[1], offset)) return Anchor{};
  return Anchor{tree->owner, fileOffset(*tree, offset)};
}

}  // namespace

void setPositionsWanted(bool on) { ValueScope::current().positionsWanted = on; }
bool positionsWanted() { return ValueScope::current().positionsWanted; }

Anchor anchor(const Value& value) { return anchorTape(ValueAccess::tree(value), ValueAccess::raw(value)); }

Anchor anchorKey(const bcf_iterator& entry) { return anchorTape(ValueAccess::tree(entry), ValueAccess::raw(entry)); }

Location locate(const Anchor& anchor) { return anchor.doc == nullptr ? Location{} : placeToken(*anchor.doc, anchor.offset); }

Location locate(const Value& value) { return locate(anchor(value)); }

Location locateKey(const bcf_iterator& entry) { return locate(anchorKey(entry)); }

}  // namespace kit::config
