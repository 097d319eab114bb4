#pragma once

// Which instruction sets the primitives may use. The level is decided once for the process, on the
// first use of a primitive at the latest, and only read after that.
//
//   level  has at least
//   0      nothing that is asked for
//   1      SSE3
//   2      SSSE3
//   3      SSE4.1
//   4      AVX
//
// QDVM_CPU_LEVEL=n in the environment caps the level.

#include <cstdint>
#include <string_view>

namespace qdvm {

inline constexpr int kCpuLevels = 5;

// Registers of CPUID, as far as the decision needs them.
struct CpuId {
    std::string_view vendor;          // of leaf 0
    std::uint32_t signature = 0;      // EAX of leaf 1: family and model
    std::uint32_t featuresC = 0;      // ECX of leaf 1
    std::uint32_t featuresB7 = 0;     // EBX of leaf 7
    bool savesWideRegisters = false;  // the system keeps 256-bit registers over a task switch
};

// The level for a processor, 0 to 4.
int DecideCpuLevel(const CpuId& id);

// Level 4 asks for less than the widest forms need.
bool HasAvx2(const CpuId& id);

// The cap that a text sets, kCpuLevels - 1 for none or for a text that is not a level.
int CpuLevelCap(const char* text);

// Decides and stores the level. Any thread, any number of times; only the first call does anything.
void InitCpuLevel();

// The stored level. InitCpuLevel has run before.
int CpuLevel();

}  // namespace qdvm
