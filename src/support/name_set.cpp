#include "support/name_set.h"

#include <cstdlib>
#include <cstring>

#include "platform/huge_pages.h"
#include "platform/tbx.h"

namespace support {

namespace {
unsigned s_failuresToInject = 0;
constexpr std::size_t kReserveBytes = 1 << 20;
}

void injectAllocationFailures(unsigned count) { s_failuresToInject = count; }

void* allocateOrReport(std::size_t bytes) {
  const char* const location = "framework/include/common/types/red_black_tree";
  bool hadReserve = true;
  for (bool first = true;; first = false) {
    void* p = nullptr;
    if (first && s_failuresToInject > 0) --s_failuresToInject;
    else p = std::malloc(bytes == 0 ? 1 : bytes);
    if (p != nullptr) {
      if (!first) tbx::GlobalErrorHandler::reserveEmergencyMemory(kReserveBytes);
      return p;
    }
    // retrying without anything freed in between would never end
    if (!first && !hadReserve) tbx::GlobalErrorHandler::doAbort(location, 330, "create_node", "need another tree node");
    hadReserve = tbx::GlobalErrorHandler::hasEmergencyMemory();
    tbx::GlobalErrorHandler::doOutOfMem(location, 330, "create_node", "need another tree node");
  }
}

void release(void* p) noexcept { std::free(p); }

void* allocateTable(std::size_t count, std::size_t slotBytes) {
  const std::size_t bytes = count * slotBytes + 64;
  void* p = allocateOrReport(bytes);
  platform::adviseHugePages(p, bytes);
  return std::memset(p, 0, bytes);
}

void KeyArena::grow(std::size_t bytes) {
  // Small sets stay small; a big one gets blocks large enough for huge pages.
  constexpr std::size_t kFirstBlockBytes = 64 * 1024;
  constexpr std::size_t kLastBlockBytes = 4 << 20;
  const std::size_t blockBytes = m_blockBytes == 0 ? kFirstBlockBytes : m_blockBytes;
  m_blockBytes = blockBytes < kLastBlockBytes ? blockBytes * 2 : blockBytes;
  const std::size_t header = (sizeof(Block) + 15) & ~std::size_t(15);
  std::size_t size = header + (bytes > blockBytes - header ? bytes : blockBytes - header);
  auto* block = static_cast<Block*>(allocateOrReport(size));
  platform::adviseHugePages(block, size);
  block->previous = m_last;
  m_last = block;
  m_next = reinterpret_cast<char*>(block) + header;
  m_left = size - header;
}

void KeyArena::release() noexcept {
  while (m_last != nullptr) {
    Block* previous = m_last->previous;
    support::release(m_last);
    m_last = previous;
  }
  m_next = nullptr;
  m_left = 0;
  m_blockBytes = 0;
}

}  // namespace support
