#include "framework/node_index.h"

namespace framework {

void addNode(NodeIndex& index, std::string_view name) {
  uint32_t pos = static_cast<uint32_t>(index.names.size());
  index.names.push_back(name);
  index.nextSame.push_back(NodeIndex::kNone);
  auto [it, added] = index.byName.try_emplace(name, NodeIndex::Chain{pos, pos});
  if (!added) {
    index.nextSame[it->second.last] = pos;
    it->second.last = pos;
  }
}

void positionsOf(const NodeIndex& index, std::string_view name, std::vector<uint32_t>& positions) {
  auto it = index.byName.find(name);
  if (it == index.byName.end()) return;
  for (uint32_t pos = it->second.first; pos != NodeIndex::kNone; pos = index.nextSame[pos]) positions.push_back(pos);
}

}  // namespace framework
