#include "framework/node_index.h"

#include <algorithm>

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

void positionsOfKeys(const NodeIndex& index, const kit::config::Dictionary& dict, std::vector<uint32_t>& positions) {
  // Repeated keys on both sides must not multiply: one chain per distinct node.
  std::vector<uint32_t> firsts;
  for (auto it = dict.begin(), end = dict.end(); it != end; ++it) {
    auto found = index.byName.find(it.key());
    if (found != index.byName.end()) firsts.push_back(found->second.first);
  }
  std::sort(firsts.begin(), firsts.end());
  firsts.erase(std::unique(firsts.begin(), firsts.end()), firsts.end());
  for (uint32_t first : firsts)
    for (uint32_t pos = first; pos != NodeIndex::kNone; pos = index.nextSame[pos]) positions.push_back(pos);
  std::sort(positions.begin(), positions.end());
}

}  // namespace framework
