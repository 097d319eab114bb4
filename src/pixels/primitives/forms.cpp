#include "pixels/primitives/forms.h"

#include "pixels/primitives/cpu_id.h"
#include "pixels/primitives/cpu_level.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>

namespace qdvm {

namespace {

constexpr int kFirstSsse3Level = 2;
constexpr int kFirstAvx2Level = 4;

RowForms MakePlain() {
    RowForms forms{};
    forms.name = "plain";
    forms.channels = kChannelRowsPlain;
    forms.packed = kPackedRowsPlain;
    forms.colour = kColourRowsPlain;
    forms.colour709 = kColour709RowsPlain;
    forms.keySpaces = kKeySpaceRowsPlain;
    forms.keys = kKeyRowsPlain;
    forms.filters = kFilterRowsPlain;
    forms.blends = kBlendRowsPlain;
    forms.resize = kResizeRowsPlain;
    forms.warp = kWarpRowsPlain;
    return forms;
}

#if defined(__x86_64__) || defined(__i386__)

RowForms MakeSsse3() {
    RowForms forms = MakePlain();
    forms.name = "ssse3";
    UseSsse3Rows(&forms);
    return forms;
}

RowForms MakeAvx2() {
    RowForms forms = MakeSsse3();
    forms.name = "avx2";
    UseAvx2Rows(&forms);
    return forms;
}

#else

RowForms MakeSsse3() { return MakePlain(); }
RowForms MakeAvx2() { return MakePlain(); }

#endif

// What this process can run, and at which level it starts.
struct Choice {
    std::array<RowForms, kCpuLevels> levels;
    int available;  // highest level that the processor has
    int level;      // the same under the cap of the environment

    Choice() {
        const CpuId id = ReadCpuId();
        available = DecideCpuLevel(id);
        level = std::min(available, CpuLevelCap(std::getenv("QDVM_CPU_LEVEL")));
        for (int i = 0; i < kCpuLevels; ++i) {
            if (i >= kFirstAvx2Level && HasAvx2(id))
                levels[i] = MakeAvx2();
            else
                levels[i] = i >= kFirstSsse3Level ? MakeSsse3() : MakePlain();
        }
    }
};

const Choice& TheChoice() {
    static const Choice choice;
    return choice;
}

std::atomic<const RowForms*> formsInUse{nullptr};

}  // namespace

void InitCpuLevel() {
    if (formsInUse.load(std::memory_order_acquire)) return;
    const Choice& choice = TheChoice();
    const RowForms* none = nullptr;
    formsInUse.compare_exchange_strong(none, &choice.levels[choice.level],
                                       std::memory_order_acq_rel);
}

int CpuLevel() { return TheChoice().level; }

const RowForms& Forms() {
    const RowForms* forms = formsInUse.load(std::memory_order_acquire);
    if (!forms) {
        InitCpuLevel();
        forms = formsInUse.load(std::memory_order_acquire);
    }
    return *forms;
}

const RowForms* FormsOfLevel(int level) {
    const Choice& choice = TheChoice();
    if (level < 0 || level > choice.available) return nullptr;
    return &choice.levels[level];
}

const RowForms* UseForms(const RowForms* forms) {
    const RowForms* before = &Forms();
    const Choice& choice = TheChoice();
    formsInUse.store(forms ? forms : &choice.levels[choice.level], std::memory_order_release);
    return before;
}

}  // namespace qdvm
