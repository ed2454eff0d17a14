// Where each node name stands in the walk of "nodes", so that a process's
// "comm" targets can be visited in node order without walking every node.
#pragma once

#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace framework {

struct NodeIndex {
  static constexpr uint32_t kNone = UINT32_MAX;
  struct Chain {
    uint32_t first;
    uint32_t last;
  };
  std::vector<std::string_view> names;  // key at each position of the walk
  std::vector<uint32_t> nextSame;       // next position of the same key, or kNone
  std::unordered_map<std::string_view, Chain> byName;
};

// Appends the next key of the "nodes" walk; the view must outlive the index.
void addNode(NodeIndex& index, std::string_view name);

// Appends to `positions` every position of `name`, in walk order.
void positionsOf(const NodeIndex& index, std::string_view name, std::vector<uint32_t>& positions);

}  // namespace framework
