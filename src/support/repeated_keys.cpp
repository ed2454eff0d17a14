#include "support/repeated_keys.h"

#include <unordered_map>
#include <vector>

namespace support {

namespace {

using kit::config::Value;

constexpr size_t kSmallObject = 16;  // searched by a walk; larger ones get a map

// The way down to the object being walked; rendered only for a finding.
struct Step {
  std::string_view key;
  uint32_t index = 0;
  bool isIndex = false;
};

struct Walk {
  const std::function<void(const RepeatedKey&)>& found;
  std::vector<Step> path;

  std::string render() const {
    std::string out;
    for (const Step& step : path) {
      if (step.isIndex) {
        out.append("[").append(std::to_string(step.index)).append("]");
      } else {
        if (!out.empty()) out.push_back('.');
        out.append(step.key);
      }
    }
    return out;
  }

  // Keys are copied: the members of a large top-level object come in batches,
  // and a batch's keys go with it.
  struct Seen {
    std::string key;
    kit::config::Location at;
  };

  void object(const Value& value) {
    std::vector<Seen> seen;
    std::unordered_map<std::string, kit::config::Location> index;
    for (auto it = value.begin(), end = value.end(); it != end; ++it) {
      const std::string_view key = it.key();
      const Seen* first = nullptr;
      if (index.empty() && seen.size() < kSmallObject) {
        for (const Seen& earlier : seen)
          if (earlier.key == key) first = &earlier;
        if (first == nullptr) seen.push_back(Seen{std::string(key), kit::config::locateKey(it)});
      } else {
        if (index.empty())
          for (Seen& earlier : seen) index.emplace(std::move(earlier.key), earlier.at);
        auto [at, added] = index.try_emplace(std::string(key), kit::config::Location{});
        if (added) at->second = kit::config::locateKey(it);
        else found(RepeatedKey{render(), key, at->second, kit::config::locateKey(it)});
      }
      if (first != nullptr) found(RepeatedKey{render(), key, first->at, kit::config::locateKey(it)});
      path.push_back(Step{key});
      any(it.value());
      path.pop_back();
    }
  }

  void any(const Value& value) {
    if (value.isDictionary()) {
      object(value);
    } else if (value.isArray()) {
      for (uint32_t i = 0, n = value.size(); i < n; ++i) {
        path.push_back(Step{{}, i, true});
        any(value.at(i));
        path.pop_back();
      }
    }
  }
};

}  // namespace

void findRepeatedKeys(const Value& top, const std::function<void(const RepeatedKey&)>& found) {
  Walk walk{found, {}};
  walk.any(top);
}

}  // namespace support
