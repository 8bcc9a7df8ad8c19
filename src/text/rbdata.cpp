// rbData: the raw bytes of a host string or memory block.
#include "plugin/builders.h"
#include "plugin/host_api.h"
#include "plugin/log.h"
#include "text/text.h"

namespace zyl {

rbData::rbData(REALstringStruct* s) {
  if (s == nullptr) return;
  REALLockString(s);
  string_ = s;
  int64_t length = 0;
  data_ = reinterpret_cast<const uint8_t*>(REALGetStringContents(s, &length));
  size_ = length < 0 ? 0 : length;
  FixNilData();
}

rbData::rbData(REALmemoryBlockStruct* block, int64_t offset, int64_t size) {
  if (block == nullptr) return;
  REALLockObject(reinterpret_cast<REALobjectStruct*>(block));
  block_ = block;
  int64_t blockSize = MyREALMemoryBlockGetSize(block);
  if (blockSize < 0) blockSize = 0;
  if (offset < 0 || size < 0 || offset > blockSize) return;
  const int64_t available = blockSize - offset;
  size_ = (size == 0 || size > available) ? available : size;
  const auto* base = static_cast<const uint8_t*>(MyREALMemoryBlockGetPtr(block));
  data_ = base != nullptr ? base + offset : nullptr;
  FixNilData();
}

void rbData::FixNilData() {
  if (data_ == nullptr && size_ != 0) {
    size_ = 0;
    if (DebuggingEnabled) LogMessage("data is NULL, so size fixed to zero.");
  }
}

rbData::~rbData() {
  if (string_ != nullptr) REALUnlockString(string_);
  if (block_ != nullptr) REALUnlockObject(reinterpret_cast<REALobjectStruct*>(block_));
  string_ = nullptr;
  block_ = nullptr;
  data_ = nullptr;
  size_ = 0;
}

bool IsASCIIText(const rbData& view) { return view.Empty() || IsASCII(view.Data(), view.Size()); }

}  // namespace zyl
