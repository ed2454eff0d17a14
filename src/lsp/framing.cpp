#include "lsp/framing.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace lsp {

namespace {

bool sameLetters(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    if (lower(a[i]) != lower(b[i])) return false;
  }
  return true;
}

std::string_view trimmed(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r')) s.remove_suffix(1);
  return s;
}

// A plain decimal number; false for anything else or past 64 bits.
bool decimal(std::string_view s, uint64_t& out) {
  if (s.empty() || s.size() > 19) return false;
  out = 0;
  for (char c : s) {
    if (c < '0' || c > '9') return false;
    out = out * 10 + static_cast<uint64_t>(c - '0');
  }
  return true;
}

}  // namespace

Input fdInput(int fd) {
  return Input{[fd](char* to, std::size_t size, int timeoutMs) -> long {
    pollfd p{fd, POLLIN, 0};
    for (;;) {
      const int ready = poll(&p, 1, timeoutMs);
      if (ready == 0) return -1;
      if (ready < 0 && errno == EINTR) continue;
      if (ready < 0) return 0;
      const ssize_t n = ::read(fd, to, size);
      if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
      return n < 0 ? 0 : static_cast<long>(n);
    }
  }};
}

Output fdOutput(int fd) {
  return [fd](std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t n = ::write(fd, bytes.data(), bytes.size());
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) return;  // the client is gone; stdin's end will follow
      bytes.remove_prefix(static_cast<std::size_t>(n));
    }
  };
}

void feed(Framer& framer, const char* bytes, std::size_t size) {
  // What was taken goes now, once per read rather than once per message.
  framer.pending.erase(0, framer.taken);
  framer.taken = 0;
  const std::size_t dropped = framer.skip < size ? framer.skip : size;
  framer.skip -= dropped;
  framer.pending.append(bytes + dropped, size - dropped);
}

Take take(Framer& framer, std::string& body) {
  if (framer.skip != 0) return Take::More;
  std::string_view in = std::string_view(framer.pending).substr(framer.taken);
  auto drop = [&](std::size_t n) {
    framer.taken += n;
    in.remove_prefix(n);
  };
  // Blank lines between messages are no header.
  std::size_t start = 0;
  while (start < in.size() && (in[start] == '\r' || in[start] == '\n')) ++start;
  drop(start);
  bool hasLength = false, badLength = false;
  uint64_t length = 0;
  std::size_t pos = 0;
  for (;;) {
    const std::size_t eol = in.find('\n', pos);
    if (eol == std::string_view::npos || eol > kMaxHeader) {
      if (in.size() <= kMaxHeader) return Take::More;
      drop(eol == std::string_view::npos ? in.size() : eol + 1);
      body = "a header longer than " + std::to_string(kMaxHeader) + " bytes";
      return Take::Fault;
    }
    const std::string_view line = trimmed(in.substr(pos, eol - pos));
    pos = eol + 1;
    if (line.empty()) break;
    const std::size_t colon = line.find(':');
    if (colon != std::string_view::npos && sameLetters(trimmed(line.substr(0, colon)), "content-length")) {
      hasLength = decimal(trimmed(line.substr(colon + 1)), length);
      badLength = !hasLength;
    }
  }
  if (!hasLength) {
    drop(pos);
    body = badLength ? "a Content-Length that is no number" : "a header without Content-Length";
    return Take::Fault;
  }
  if (length > kMaxBody) {
    drop(pos);
    const std::size_t here = in.size() < length ? in.size() : static_cast<std::size_t>(length);
    drop(here);
    framer.skip = static_cast<std::size_t>(length - here);
    body = "a body of " + std::to_string(length) + " bytes, more than " + std::to_string(kMaxBody);
    return Take::Fault;
  }
  if (in.size() - pos < length) return Take::More;
  body.assign(in.substr(pos, static_cast<std::size_t>(length)));
  drop(pos + static_cast<std::size_t>(length));
  return Take::Message;
}

std::string frame(std::string_view body) {
  std::string out = "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n";
  out += body;
  return out;
}

}  // namespace lsp
