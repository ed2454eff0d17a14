#pragma once

#include <string>

#include "platform/kit_config.h"

// Everything the value interface can tell about `v`, as text.
inline std::string render(const kit::config::Value& v) {
  if (!v.isPresent()) return "~";
  if (v.isDictionary()) {
    std::string out = "{";
    for (auto it = v.begin(); it != v.end(); ++it) out += std::string(it.key()) + ":" + render(it.value()) + ",";
    return out + "}";
  }
  if (v.isArray()) {
    std::string out = "[";
    for (uint32_t i = 0; i < v.size(); ++i) out += render(v.at(i)) + ",";
    return out + "]";
  }
  int32_t n = 0;
  std::string s;
  bool b = false;
  if (v.getInt(n) == 0) return std::to_string(n);
  if (v.getString(s) == 0) return "\"" + s + "\"";
  if (v.getBool(b) == 0) return b ? "true" : "false";
  return "?";
}
