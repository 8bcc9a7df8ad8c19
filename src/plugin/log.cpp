#include "plugin/log.h"

#include <cinttypes>
#include <cstdarg>

namespace zyl {

std::atomic<bool> DebuggingEnabled{false};
const char* const ZYLDebug = "ZYL Debug: ";
FILE* DebugFile = nullptr;

int8_t getDebugging() { return DebuggingEnabled.load(std::memory_order_relaxed) ? 1 : 0; }

void setDebugging(int8_t value) {
  DebuggingEnabled.store(value != 0, std::memory_order_relaxed);
  if (value != 0) LogMessage("ZYL debug logging enabled.");
}

void LogMessageX(const char* format, ...) {
  char line[4096] = {};
  va_list args;
  va_start(args, format);
  vsnprintf(line, sizeof line, format, args);
  va_end(args);
  FILE* out = DebugFile != nullptr ? DebugFile : stderr;
  fprintf(out, "%s\n", line);
  fflush(out);
}

void LogMessage(const char* text) { LogMessageX("%s%s", ZYLDebug, text); }

void LogMessage(const char* text, int64_t a, int64_t b) {
  LogMessageX("%s%s %" PRId64 ", %" PRId64, ZYLDebug, text, a, b);
}

void LogMessage(const char* text, int64_t value) { LogMessageX("%s%s %" PRId64, ZYLDebug, text, value); }
void LogMessage(const char* text, int32_t value) { LogMessageX("%s%s %d", ZYLDebug, text, value); }
void LogMessage(const char* text, uint32_t value) { LogMessageX("%s%s %u", ZYLDebug, text, value); }
void LogMessage(const char* text, uint64_t value) { LogMessageX("%s%s %" PRIu64, ZYLDebug, text, value); }
void LogMessage(const char* text, const void* value) { LogMessageX("%s%s %p", ZYLDebug, text, value); }
void LogMessage(const char* text, const char* value) { LogMessageX("%s%s %s", ZYLDebug, text, value); }

}  // namespace zyl
