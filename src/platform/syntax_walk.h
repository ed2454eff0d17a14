// The syntax check of a file with simdjson's streaming parser, which builds no
// document: every key, string, number and literal is read, since it validates
// only what is read.
#pragma once

#include <simdjson.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kit::config {

constexpr size_t kMaxDepth = 1024;

// Where the entries of one large list, a member of the top-level object, lie
// in the text. Batch b is the text from cuts[b] to cuts[b + 1], both ends
// included: the list's brackets or the commas between its entries, which
// become brackets while the batch is parsed. It holds entries firsts[b] up to
// firsts[b + 1]; the last of firsts is the number of entries.
struct ListLayout {
  uint32_t ordinal = 0;  // place among the top-level members
  std::vector<size_t> cuts;
  std::vector<uint32_t> firsts;
};

struct Layout {
  std::vector<ListLayout> lists;
  // A large top-level object without large lists has its own members cut the
  // same way (braces and commas); empty otherwise.
  ListLayout members;
};

// Checks the syntax of `buf` (padded). A top-level scalar is not walked and
// sets `scalar`: the document parser must judge it. With `layout`, the lists
// of a top-level object are cut into batches of about `batchBytes`, or, when
// it has none worth cutting, its own members; what fits one batch is not noted.
simdjson::error_code walkSyntax(const char* buf, size_t len, bool& scalar, Layout* layout, size_t batchBytes);

// The walks share one parser, kept as large as the largest file so far: fresh
// memory is slow to come by. The checks give it back before they start.
void releaseSyntaxWalker();

}  // namespace kit::config
