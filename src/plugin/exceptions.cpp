#include <cstring>
#include <new>
#include <stdexcept>
#include <string>

#include "plugin/builders.h"
#include "plugin/guard.h"
#include "plugin/host_api.h"
#include "plugin/log.h"

namespace zyl {

void RaiseException(const char* className, REALstringStruct* message, int64_t errorNumber) noexcept {
  REALobjectStruct* exception = REALnewInstance(className);
  if (exception == nullptr) exception = REALnewInstance("RuntimeException");
  if (exception == nullptr) return;
  REALSetPropValueString(exception, "Message", message);
  REALSetPropValueInteger(exception, "ErrorNumber", errorNumber);
  REALRaiseException(exception);
  REALUnlockObject(exception);
}

void RaiseException(const char* className, const char* message, uint32_t /*encoding*/,
                    int64_t errorNumber) noexcept {
  REALstringStruct* text = CString2RB(message, kEncodingUTF8);
  RaiseException(className, text, errorNumber);
  if (text != nullptr) REALUnlockString(text);
}

void RaiseException(const char* className, const char* message, uint32_t encoding) noexcept {
  RaiseException(className, message, encoding, 0);
}

void RaiseRuntimeException(const std::exception& exception) noexcept {
  const char* start = "C++ Exception";
  const char* className = "RuntimeException";
  // Tested in this order: overflow and underflow deliberately go out as bounds errors too.
  if (dynamic_cast<const std::bad_alloc*>(&exception) != nullptr) {
    start = "Failed to allocate memory";
    className = "OutOfMemoryException";
  } else if (dynamic_cast<const std::range_error*>(&exception) != nullptr ||
             dynamic_cast<const std::out_of_range*>(&exception) != nullptr) {
    start = "C++ reports range error";
    className = "OutOfBoundsException";
  } else if (dynamic_cast<const std::overflow_error*>(&exception) != nullptr) {
    start = "C++ reports overflow error";
    className = "OutOfBoundsException";
  } else if (dynamic_cast<const std::underflow_error*>(&exception) != nullptr) {
    start = "C++ reports underflow error";
    className = "OutOfBoundsException";
  }
  const char* what = exception.what();
  if (what == nullptr) what = "";
  // Built in a fixed buffer: the failure being reported may be a shortage of memory.
  char message[1024];
  if (*what != '\0') {
    snprintf(message, sizeof message, "%s: %s", start, what);
  } else {
    snprintf(message, sizeof message, "%s.", start);
  }
  RaiseException(className, message, kEncodingASCII, 0);
}

void RaiseUnnamedException() noexcept {
  if (DebuggingEnabled) LogMessage("Unnamed C++ Exception.");
  RaiseException("RuntimeException", "Sorry, but there was an unnamed C++ Exception.", kEncodingASCII, 0);
}

}  // namespace zyl
