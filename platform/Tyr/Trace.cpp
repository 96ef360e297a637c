#include "Tyr/Trace.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "Tyr/Exception.h"

namespace Tyr {
namespace {

constexpr int highestLevel = 9;

int levelsFromEnvironment() noexcept {
  const char* text = std::getenv("VELBGP_TRACE");
  const bool digit = text != nullptr && text[0] >= '0' && text[0] <= '9' && text[1] == '\0';
  return digit ? text[0] - '0' + 1 : 0;
}

// One write, so that lines of several threads stay whole.
void traceToStandardError(int, std::string_view line) {
  const std::string whole = std::string(line) + '\n';
  std::fwrite(whole.data(), 1, whole.size(), stderr);
}

struct SinkHolder {
  std::mutex mutex;
  std::shared_ptr<const TraceSink> sink = std::make_shared<const TraceSink>(traceToStandardError);
};

// Never destroyed: destructors of other static objects may trace.
SinkHolder& sinkHolder() {
  static SinkHolder& holder = *new SinkHolder;
  return holder;
}

std::shared_ptr<const TraceSink> currentSink() {
  SinkHolder& holder = sinkHolder();
  const std::lock_guard lock(holder.mutex);
  return holder.sink;
}

}  // namespace

namespace detail {

std::atomic<int> tracedLevels{levelsFromEnvironment()};

void traceLine(int level, const char* function, std::string_view text) {
  std::string line = function;
  line.append(": ").append(text);
  (*currentSink())(level, line);
}

}  // namespace detail

void traceLevelIs(int level) {
  if (level < -1 || level > highestLevel) throw RangeException("Tyr::traceLevel < -1 or > 9 not allowed");
  detail::tracedLevels.store(level + 1, std::memory_order_relaxed);
}

void traceSinkIs(TraceSink sink) {
  auto fresh = std::make_shared<const TraceSink>(sink ? std::move(sink) : TraceSink(traceToStandardError));
  SinkHolder& holder = sinkHolder();
  const std::lock_guard lock(holder.mutex);
  holder.sink.swap(fresh);  // the old one is destroyed after unlocking
}

}  // namespace Tyr
