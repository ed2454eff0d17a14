// Large lists of a known file read a batch at a time: the document holds the
// file without their entries, and a walk over such a list gets its entries
// parsed a few hundred KB at a time, in one reused parser's memory. A full
// check of a large system then needs about the file's size, not four times it.
#pragma once

#include "platform/kit_document.h"
#include "platform/syntax_walk.h"

namespace kit::config {

// A large list of the file, standing in the document as an empty array; or
// the members of a large top-level object, which stands there empty. All
// lists of a run parse their batches into one parser's room: the checks read
// one list at a time, and a list whose batch was pushed out parses it again.
struct List {
  List() = default;
  List(const List&) = delete;
  List& operator=(const List&) = delete;
  ~List();
  size_t id = 0;  // the empty array's or object's handle in the file's tree
  bool members = false;
  ListLayout layout;
  Tree tree;
  size_t batch = SIZE_MAX;  // the one parsed now
  simdjson::dom::element root;  // of that batch: an array of entries, or an object
  size_t rootId = 0;
};

// Parses the document's text without the entries of the lists of `layout`,
// each list an empty array there, and ties those arrays to their lists.
simdjson::error_code parseSkeleton(Document& doc, const Layout& layout, simdjson::dom::element& root);

// Entry `index` of `list`, parsing its batch when another one is parsed now.
bool listEntry(Document& doc, List& list, uint32_t index, simdjson::dom::element& out);

// The members of batch `b` of a large top-level object; false past the last.
bool memberBatch(Document& doc, List& list, size_t b, simdjson::dom::object& out);

}  // namespace kit::config
