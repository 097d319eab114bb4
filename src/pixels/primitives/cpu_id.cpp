#include "pixels/primitives/cpu_id.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>

#include <cstring>
#endif

namespace qdvm {

#if defined(__x86_64__) || defined(__i386__)

namespace {

// The system has switched on AVX, and XCR0 says that it keeps both halves of the registers.
bool SavesWideRegisters(std::uint32_t featuresC) {
    constexpr std::uint32_t kOsXsave = 1u << 27;
    if (!(featuresC & kOsXsave)) return false;
    std::uint32_t low = 0;
    std::uint32_t high = 0;
    __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return (low & 6) == 6;
}

std::string_view Vendor() {
    struct Text {
        char letters[12] = {};
        Text() {
            std::uint32_t top = 0;
            std::uint32_t b = 0;
            std::uint32_t c = 0;
            std::uint32_t d = 0;
            if (!__get_cpuid(0, &top, &b, &c, &d)) return;
            std::memcpy(letters, &b, 4);
            std::memcpy(letters + 4, &d, 4);
            std::memcpy(letters + 8, &c, 4);
        }
    };
    static const Text text;
    return {text.letters, sizeof(text.letters)};
}

}  // namespace

CpuId ReadCpuId() {
    CpuId id;
    std::uint32_t unusedB = 0;
    std::uint32_t unusedD = 0;
    if (!__get_cpuid(1, &id.signature, &unusedB, &id.featuresC, &unusedD)) return {};
    id.vendor = Vendor();
    std::uint32_t a = 0;
    std::uint32_t c = 0;
    std::uint32_t d = 0;
    if (!__get_cpuid_count(7, 0, &a, &id.featuresB7, &c, &d)) id.featuresB7 = 0;
    id.savesWideRegisters = SavesWideRegisters(id.featuresC);
    return id;
}

#else

CpuId ReadCpuId() { return {}; }

#endif

}  // namespace qdvm
