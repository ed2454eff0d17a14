// Where each node name stands in the walk of "nodes", so that a process's
// "comm" targets can be visited in node order without walking every node.
#pragma once

#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/kit_config.h"

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

// The positions of the walk whose node is a key of `dict`, ascending: a node
// repeated in "nodes" comes once per occurrence, a key repeated in `dict` once.
void positionsOfKeys(const NodeIndex& index, const kit::config::Dictionary& dict, std::vector<uint32_t>& positions);

}  // namespace framework
