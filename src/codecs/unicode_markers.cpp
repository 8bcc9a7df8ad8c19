// Unicode byte-order marks: which one a string starts with, and the bytes of each.
#include <cstdint>

#include "codecs/codecs.h"
#include "plugin/builders.h"
#include "text/text.h"

namespace zyl {

namespace {

enum MarkerKind : int64_t {
  kNoMarker = 0,
  kUTF8Marker = 1,
  kUTF16HostMarker = 2,
  kUTF16BigEndianMarker = 3,
  kUTF16LittleEndianMarker = 4,
  kUTF32HostMarker = 5,
  kUTF32BigEndianMarker = 6,
  kUTF32LittleEndianMarker = 7,
};

struct Marker {
  uint8_t bytes[4];
  int64_t length;
  uint32_t encoding;
};

// The marks by kind. The host-order forms are the little-endian bytes of this platform; the
// 16-bit and 32-bit ones are tagged UTF-16 and UTF-32, whatever order their bytes are in.
constexpr Marker kMarkers[] = {
    {{}, 0, 0},
    {{0xEF, 0xBB, 0xBF}, 3, kEncodingUTF8},
    {{0xFF, 0xFE}, 2, kEncodingUTF16},
    {{0xFE, 0xFF}, 2, kEncodingUTF16},
    {{0xFF, 0xFE}, 2, kEncodingUTF16},
    {{0xFF, 0xFE, 0x00, 0x00}, 4, kEncodingUTF32},
    {{0x00, 0x00, 0xFE, 0xFF}, 4, kEncodingUTF32},
    {{0xFF, 0xFE, 0x00, 0x00}, 4, kEncodingUTF32},
};

}  // namespace

// The tests run in this order, so FF FE 00 00 is UTF-32 little-endian even when it was meant as
// UTF-16 text that starts with U+0000, and two bytes EF BB are no UTF-8 mark.
int64_t DetectUnicodeMarkers(REALstringStruct* s) {
  rbData view(s);
  const int64_t n = view.Size();
  if (n < 2) return kNoMarker;
  const uint8_t* p = view.Data();
  if (n >= 4 && p[0] == 0x00) {
    return p[1] == 0x00 && p[2] == 0xFE && p[3] == 0xFF ? kUTF32BigEndianMarker : kNoMarker;
  }
  if (n >= 4 && p[0] == 0xFF && p[1] == 0xFE) {
    return p[2] == 0x00 && p[3] == 0x00 ? kUTF32LittleEndianMarker : kUTF16LittleEndianMarker;
  }
  if (n >= 3 && p[0] == 0xEF) return p[1] == 0xBB && p[2] == 0xBF ? kUTF8Marker : kNoMarker;
  if (p[0] == 0xFE) return p[1] == 0xFF ? kUTF16BigEndianMarker : kNoMarker;
  if (p[0] == 0xFF) return p[1] == 0xFE ? kUTF16LittleEndianMarker : kNoMarker;
  return kNoMarker;
}

REALstringStruct* GetUnicodeMarkers(int64_t kind) {
  if (kind < kUTF8Marker || kind > kUTF32LittleEndianMarker) return nullptr;
  const Marker& marker = kMarkers[kind];
  return REALBuildUnicodeString(marker.bytes, marker.length, marker.encoding);
}

}  // namespace zyl
