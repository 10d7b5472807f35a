// Character classes of the two text model formats. The LP table is shared by
// the LP reader and by the writer's name repair; the MPS table by the MPS
// reader and the MPS-family side files.
#pragma once
#include <array>
#include <cstdint>

namespace qvn {

enum LpCharClass : uint32_t {
  CC_NameStart = 0x001,
  CC_Sense = 0x002,
  CC_NumberChar = 0x004,
  CC_Exponent = 0x008,
  CC_Valid = 0x010,
  CC_LineEnd = 0x020,
  CC_Digit = 0x040,
  CC_Sign = 0x080,
  CC_Blank = 0x100,
  CC_Delimiter = 0x200,
  CC_QuadChar = 0x400,
  CC_Arrow = 0x800,
};

enum MpsCharClass : uint8_t {
  MC_Exponent = 1,
  MC_Digit = 2,
  MC_Comment = 4,
  MC_NameChar = 8,
  MC_Sense = 16,
};

extern const std::array<uint32_t, 256> kLpCharClass;
extern const std::array<uint8_t, 256> kMpsCharClass;

inline uint32_t lpClass(char c) { return kLpCharClass[static_cast<unsigned char>(c)]; }
inline bool lpIs(char c, uint32_t flags) { return (lpClass(c) & flags) != 0; }
inline uint8_t mpsClass(char c) { return kMpsCharClass[static_cast<unsigned char>(c)]; }

} // namespace qvn
