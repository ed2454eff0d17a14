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

  void report(std::string_view key, const kit::config::bcf_iterator& first, const kit::config::bcf_iterator& again) {
    found(RepeatedKey{render(), key, kit::config::locateKey(first), kit::config::locateKey(again)});
  }

  void object(const Value& value) {
    std::vector<kit::config::bcf_iterator> seen;
    std::unordered_map<std::string_view, kit::config::bcf_iterator> index;
    for (auto it = value.begin(), end = value.end(); it != end; ++it) {
      const std::string_view key = it.key();
      if (index.empty() && seen.size() < kSmallObject) {
        bool repeated = false;
        for (const auto& earlier : seen) {
          if (earlier.key() == key) {
            report(key, earlier, it);
            repeated = true;
            break;
          }
        }
        if (!repeated) seen.push_back(it);
      } else {
        if (index.empty())
          for (const auto& earlier : seen) index.emplace(earlier.key(), earlier);
        auto [at, added] = index.emplace(key, it);
        if (!added) report(key, at->second, it);
      }
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
