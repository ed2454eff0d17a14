// Messages of the language server protocol on a byte stream: a header of
// `Name: value` lines (Content-Length is the one we need), a blank line,
// then the body of exactly that many bytes.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace lsp {

// Where messages come from. `read` fills at most `size` bytes, waiting at most
// `timeoutMs` milliseconds (negative: until something comes); it returns the
// bytes read, 0 at the end of the input, -1 when the time ran out first.
struct Input {
  std::function<long(char* to, std::size_t size, int timeoutMs)> read;
};
// Where messages go, whole.
using Output = std::function<void(std::string_view bytes)>;

Input fdInput(int fd);
Output fdOutput(int fd);

// Largest body and header we hold: a larger body is dropped as it comes.
inline constexpr std::size_t kMaxBody = 64u << 20;
inline constexpr std::size_t kMaxHeader = 8192;

struct Framer {
  std::string pending;     // read; its first `taken` bytes are used up
  std::size_t taken = 0;
  std::size_t skip = 0;    // bytes of a dropped body still to come
};

enum class Take { Message, Fault, More };

void feed(Framer& framer, const char* bytes, std::size_t size);
// The next body (Message); or why bytes were dropped (Fault, in `body`);
// or More when what was read ends inside a message.
Take take(Framer& framer, std::string& body);

// `body` with its header.
std::string frame(std::string_view body);

}  // namespace lsp
