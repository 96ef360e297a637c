#include "Keel/DumpContext.h"

#include <cerrno>
#include <cstdio>
#include <new>
#include <vector>

namespace Keel {

DumpContext::~DumpContext() = default;
StringDumpContext::~StringDumpContext() = default;

void DumpContext::printf(const char* format, ...) {
  char onStack[512];
  std::va_list arguments;
  va_start(arguments, format);
  const int needed = std::vsnprintf(onStack, sizeof onStack, format, arguments);
  va_end(arguments);
  if (needed < 0 && errno == ENOMEM) throw std::bad_alloc();
  if (needed < 0) return;
  const auto octets = static_cast<std::size_t>(needed);
  if (octets < sizeof onStack) return write(onStack, octets);
  std::vector<char> onHeap(octets + 1);
  va_start(arguments, format);
  std::vsnprintf(onHeap.data(), onHeap.size(), format, arguments);
  va_end(arguments);
  write(onHeap.data(), octets);
}

void DumpContext::line(std::uint32_t indent, const std::string& text) {
  if (indent == 0) return printf("%s\n", text.c_str());
  printf("%*c%s\n", static_cast<int>(indent), ' ', text.c_str());
}

}  // namespace Keel
