#include "encoding/CodePage.h"

#include <atomic>

namespace zenvary {

namespace {
std::atomic<uint32_t> g_ansiCodePage{kCodePageWindows1252};
std::atomic<uint32_t> g_oemCodePage{437};
}  // namespace

uint32_t GetACP() { return g_ansiCodePage.load(std::memory_order_relaxed); }
void SetACP(uint32_t codePage) { g_ansiCodePage.store(codePage, std::memory_order_relaxed); }
uint32_t GetOEMCP() { return g_oemCodePage.load(std::memory_order_relaxed); }
void SetOEMCP(uint32_t codePage) { g_oemCodePage.store(codePage, std::memory_order_relaxed); }

}  // namespace zenvary
