#include "mixer/rect_change.h"

#include "frames/rounding.h"

namespace qdvm {
namespace {

constexpr double kTimeUnitsPerMs = 10000.0;

// What a rect that appears or goes has: transparent, flat and in place.
void Flatten(MixBlockState& state) {
    for (const RectValue value : {kAlpha, kHorzAngle, kVertAngle, kHorzOffset, kVertOffset})
        state[value] = 0;
}

void CopyBorder(const MixBlockState& from, MixBlockState& to) {
    to.nBorderWidth = from.nBorderWidth;
    for (const RectValue value : {kBorderRed, kBorderGreen, kBorderBlue, kBorderAlpha})
        to[value] = from[value];
}

// A border fades in and out by its alpha; its width never runs.
void MatchBorders(MixBlockState& current, MixBlockState& wanted) {
    if (current.nBorderWidth == 0) {
        CopyBorder(wanted, current);
        current[kBorderAlpha] = 0;
    } else if (wanted.nBorderWidth == 0) {
        CopyBorder(current, wanted);
        wanted[kBorderAlpha] = 0;
    } else {
        current.nBorderWidth = wanted.nBorderWidth;
    }
}

void SetSteps(MixBlock& rect, std::int32_t frames) {
    rect.step = {};
    for (std::size_t i = 0; i < kRectValueCount; ++i)
        rect.step.values[i] = (rect.target.values[i] - rect.current.values[i]) / frames;
    rect.stepsLeft = frames;
}

// A field that has reached its target, or gone past it by a rounding.
bool HasArrived(double step, double current, double target) {
    return (step > 0 && current >= target) || (step < 0 && target >= current);
}

}  // namespace

std::int32_t RectFrames(std::int32_t milliseconds, std::int64_t frameDuration) {
    return RoundToInt32(milliseconds * kTimeUnitsPerMs / static_cast<double>(frameDuration));
}

MixBlockState StateOf(const VM_MIXING_RECT& rect) {
    const auto colour = static_cast<std::uint32_t>(rect.nBorderColor);
    const auto channel = [&](unsigned shift) {
        return static_cast<double>((colour >> shift) & 0xFFu);
    };
    MixBlockState state;
    state.values = {static_cast<double>(rect.rcSource.left),
                    static_cast<double>(rect.rcSource.top),
                    static_cast<double>(rect.rcSource.right),
                    static_cast<double>(rect.rcSource.bottom),
                    static_cast<double>(rect.rcTarget.left),
                    static_cast<double>(rect.rcTarget.top),
                    static_cast<double>(rect.rcTarget.right),
                    static_cast<double>(rect.rcTarget.bottom),
                    rect.dblAlpha,
                    channel(0),
                    channel(8),
                    channel(16),
                    channel(24),
                    rect.dblViewAngle,
                    rect.dblHorzAngle,
                    rect.dblVertAngle,
                    rect.dblHorzOffset,
                    rect.dblVertOffset};
    state.nBorderWidth = rect.nBorderWidth;
    state.eProcess = rect.eProcess;
    return state;
}

void StartChange(MixBlock& rect, const MixBlockState& wanted, std::int32_t frames) {
    rect.cannotDraw = false;
    if (frames < 1) {
        rect.target = {};
        rect.step = {};
        rect.stepsLeft = 0;
        rect.current = wanted;
        return;
    }
    MixBlockState end = wanted;
    if (rect.firstShow) {
        rect.current = wanted;
        Flatten(rect.current);
    } else {
        MatchBorders(rect.current, end);
    }
    rect.current.eProcess = wanted.eProcess;
    rect.target = end;
    SetSteps(rect, frames);
}

bool StartRemoval(MixBlock& rect, std::int32_t frames) {
    rect.target = rect.current;
    Flatten(rect.target);
    rect.removing = true;
    SetSteps(rect, frames);
    return !rect.step.IsZero();
}

bool StepChange(MixBlock& rect) {
    const bool isLast = --rect.stepsLeft <= 0;
    bool isRunning = false;
    for (std::size_t i = 0; i < kRectValueCount; ++i) {
        double& step = rect.step.values[i];
        double& current = rect.current.values[i];
        const double target = rect.target.values[i];
        if (step == 0) continue;
        current += step;
        // A sum of steps can miss its target by a rounding: the last frame arrives all the same.
        if (isLast || HasArrived(step, current, target)) {
            step = 0;
            current = target;
        }
        isRunning = isRunning || step != 0;
    }
    if (isRunning) return false;
    rect.target = {};
    rect.step = {};
    rect.stepsLeft = 0;
    return true;
}

}  // namespace qdvm
