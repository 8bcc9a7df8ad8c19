// The debug log and the Debugging switch.
//
// Every line goes to DebugFile when it is set, else to standard error, as "ZYL Debug: " followed by
// the text, cut to 4095 characters, and is flushed at once so that it survives a crash that
// follows. LogMessageX does not look at DebuggingEnabled: callers test it before optional lines.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>

namespace zyl {

extern std::atomic<bool> DebuggingEnabled;
extern const char* const ZYLDebug;  // "ZYL Debug: "
extern FILE* DebugFile;             // nil: standard error

// Getter and setter of the module's shared property "Debugging". Switching on logs one line.
int8_t getDebugging();
void setDebugging(int8_t value);

void LogMessageX(const char* format, ...) __attribute__((format(printf, 1, 2)));

void LogMessage(const char* text);
void LogMessage(const char* text, int64_t a, int64_t b);
void LogMessage(const char* text, int64_t value);
void LogMessage(const char* text, int32_t value);
void LogMessage(const char* text, uint32_t value);
void LogMessage(const char* text, uint64_t value);
void LogMessage(const char* text, const void* value);
void LogMessage(const char* text, const char* value);

}  // namespace zyl
