#include "hosts/qdmix/rect_plan.h"

#include <algorithm>
#include <utility>

namespace qdvm::qdmix {

namespace {

int RoundUp(int place) { return place + (place & 1); }
int RoundDown(int place) { return place - (place & 1); }

// The mixer's edges: left and top up, right and bottom down.
Geometry OnEvenPixels(const Geometry& geometry) {
    const Point from = {RoundUp(geometry.at.x), RoundUp(geometry.at.y)};
    const Point to = {RoundDown(geometry.at.x + geometry.size.width),
                      RoundDown(geometry.at.y + geometry.size.height)};
    return {{to.x - from.x, to.y - from.y}, from};
}

bool IsEmpty(Size size) { return size.width <= 0 || size.height <= 0; }

bool Touches(const Geometry& geometry, Size size) {
    return geometry.at.x < size.width && geometry.at.y < size.height &&
           geometry.at.x + geometry.size.width > 0 && geometry.at.y + geometry.size.height > 0;
}

class RectPlanner {
public:
    RectPlanner(const InputSpec& theSpec, const Probed& theProbed)
        : spec(theSpec), probed(theProbed) {}

    std::optional<Failure> Change(const RectChange& change, RectValues& values) const {
        if (auto failure = PlaceSource(change, values)) {
            return failure;
        }
        if (auto failure = PlaceTarget(change, values)) {
            return failure;
        }
        Take(change.alpha, values.alpha);
        Take(change.border, values.border);
        Take(change.flip, values.flip);
        Take(change.isOneField, values.isOneField);
        Take(change.fit, values.fit);
        Take(change.mask, values.mask);
        Take(change.turn, values.turn);
        Take(change.viewAngle, values.viewAngle);
        Take(change.eye, values.eye);
        return std::nullopt;
    }

private:
    template <class Value>
    static void Take(const std::optional<Value>& change, Value& value) {
        value = change.value_or(value);
    }

    Failure NoSense(std::string what, std::string why) const {
        return {ExitStatus::kUsage, spec.Subject(), std::move(what), std::move(why)};
    }

    std::optional<Failure> PlaceSource(const RectChange& change, RectValues& values) const {
        if (!change.source) {
            return std::nullopt;
        }
        const auto& [size, from] = *change.source;
        if (from.x < 0 || from.y < 0 || from.x + size.width > probed.size.width ||
            from.y + size.height > probed.size.height) {
            return NoSense("--source lies outside the picture",
                           "the picture is " + TextOf(probed.size));
        }
        values.source = OnEvenPixels(*change.source);
        if (IsEmpty(values.source.size)) {
            return NoSense("--source is too small", "edges lie on even pixels");
        }
        return std::nullopt;
    }

    std::optional<Failure> PlaceTarget(const RectChange& change, RectValues& values) const {
        if (IsEmpty(values.target.size)) {
            values.target.size = values.source.size;
        }
        if (!change.target) {
            return std::nullopt;
        }
        if (IsEmpty(change.target->size)) {
            values.target.at = {RoundUp(change.target->at.x), RoundUp(change.target->at.y)};
        } else {
            values.target = OnEvenPixels(*change.target);
        }
        if (IsEmpty(values.target.size)) {
            return NoSense("--target is too small", "edges lie on even pixels");
        }
        return std::nullopt;
    }

    const InputSpec& spec;
    const Probed& probed;
};

}  // namespace

std::optional<Failure> PlanRect(const InputSpec& spec, const Probed& probed,
                                const RectOptions& options, PlannedRect& rect) {
    const RectPlanner planner(spec, probed);
    rect = {};
    rect.first.source.size = probed.evenSize;
    if (auto failure = planner.Change(options.first, rect.first)) {
        return failure;
    }
    RectValues values = rect.first;
    for (const Move& move : options.moves) {
        if (auto failure = planner.Change(move.change, values)) {
            return failure;
        }
        rect.moves.push_back({values, move.span});
    }
    return std::nullopt;
}

bool IsEverSeen(const PlannedRect& rect, Size mix) {
    const auto isSeen = [&](const RectValues& values) {
        return values.turn != Pair{} || Touches(values.target, mix);
    };
    return isSeen(rect.first) ||
           std::any_of(rect.moves.begin(), rect.moves.end(),
                       [&](const PlannedMove& move) { return isSeen(move.to); });
}

}  // namespace qdvm::qdmix
