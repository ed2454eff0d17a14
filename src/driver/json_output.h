// What the JSON documents share: how one is written, and the forms of a path.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace driver {

// Writes the document, ASCII only, on standard output.
void write(const nlohmann::json& doc);
// The path relative to the working directory, without "./" and "a/../".
std::string relativePath(const std::string& path);
// The path with every byte but letters, digits, "-._~/" percent-encoded.
std::string uriEscaped(std::string_view path);
// The path as a URI reference relative to the working directory.
std::string artifactUri(const std::string& path);
// 32 hex digits, the form GitLab's fingerprints customarily take.
std::string hexDigest(std::string_view text);

}  // namespace driver
