// The copying walk of the escape decoders (URL, quoted-printable): plain bytes go from input to
// output as they are, and each byte that starts an escape or a line end is handed to a step that
// decides what it writes and how far the walk moves on.
#pragma once

#include <cstdint>
#include <cstring>

#include "text/vector16.h"

namespace zyl::stopwalk {

// What a step did with its stop: the bytes it took (the stop included; 0 hands the stop back) and
// the bytes it wrote.
struct Taken {
  int read;
  int written;
};

// The bytes of a block, and the most a block may read from its start: its own, the bytes a step
// at its last lane reads, and the copy of the plain bytes after that step, which may start
// kLongestStep - 1 bytes past the last lane (after two escapes of three bytes).
inline constexpr int kBlock = 64;
inline constexpr int kLongestStep = 6;
inline constexpr int64_t kReach = 2 * kBlock + kLongestStep;

// The stops among the kBlock bytes at block: bit k for byte k.
template <typename Match>
uint64_t BlockStops(const uint8_t* block, Match match) {
  uint64_t lanes = 0;
  for (int k = 0; k < kBlock; k += 16) lanes |= uint64_t{vec16::LaneMask(match(vec16::Load16(block + k)))} << k;
  return lanes;
}

// Walks from position while kReach bytes remain there, kBlock at a time. stops(block) gives the
// stops of the kBlock bytes at block (BlockStops); every other byte is copied. At stop k of the
// block, step(stop, cursor, k) writes what the stop gives at the cursor and says how many bytes
// it read (1 to kLongestStep) and wrote (no more than it read); a step that reads 0 hands the
// stop back, and the walk ends there.
// position and used end at the first byte not yet done and the end of the output. Returns false
// when a step handed its stop back. stops is called once per block before its steps, so it may
// leave more about the block for them (which of the stops is which).
//
// Plain bytes go out kCopy bytes at a time after a stop and more when the next stop is farther:
// a whole block (no branch on the gap, for text whose gaps are too irregular for one), or 16 for
// text whose stops come every few bytes. The output must have room for what the steps write,
// the plain bytes and kBlock bytes more (for the decoders, whose steps write no more than they
// read, used + (length - position) + kBlock). The stops are walked as a bit mask: a step waits
// for no load unless its length does, and a block costs one mispredicted branch at most.
template <int kCopy = kBlock, typename Stops, typename Step>
bool Walk(const uint8_t* in, int64_t length, int64_t& position, uint8_t* out, int64_t& used, Stops stops,
          Step step) {
  int64_t p = position, u = used;
  bool handedBack = false;
  while (!handedBack && length - p >= kReach) {
    memcpy(out + u, in + p, kBlock);
    uint64_t lanes = stops(in + p);
    int at = 0;  // the lanes before it are done
    while (lanes != 0) {
      const int k = __builtin_ctzll(lanes);
      u += k - at;
      const Taken taken = step(in + p + k, out + u, k);
      if (taken.read == 0) {
        handedBack = true;
        at = k;
        break;
      }
      u += taken.written;
      at = k + taken.read;
      lanes = at < kBlock ? lanes & ~uint64_t{0} << (at & (kBlock - 1)) : 0;  // at is 1 to 69
      // The plain bytes up to the next stop, or at least those up to the block's end: kCopy of
      // them whatever the gap, the rest of the block when the gap is longer.
      memcpy(out + u, in + p + at, kCopy);
      if constexpr (kCopy < kBlock) {
        const int next = lanes != 0 ? __builtin_ctzll(lanes) : kBlock;
        if (next - at > kCopy) memcpy(out + u + kCopy, in + p + at + kCopy, kBlock - kCopy);
      }
    }
    if (!handedBack && at < kBlock) {  // the lanes from at on are plain, and written
      u += kBlock - at;
      at = kBlock;
    }
    p += at;
  }
  position = p;
  used = u;
  return !handedBack;
}

}  // namespace zyl::stopwalk
