#include "hosts/qdmix/plan.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qdvm::qdmix {
namespace {

OpenedInput File(Size size, Rate rate, InputOptions options = {}) {
    OpenedInput input;
    input.spec.number = 1;
    input.spec.text = "a.webm";
    input.options = std::move(options);
    input.probed.size = size;
    input.probed.evenSize = {size.width & ~1, size.height & ~1};
    input.probed.rate = rate;
    return input;
}

OpenedInput TestPicture(Size size, Rate rate) {
    OpenedInput input = File(size, rate);
    input.spec.kind = InputKind::kTest;
    return input;
}

Plan Planned(const std::vector<OpenedInput>& inputs, CommandLine line = {}) {
    Plan plan;
    const auto failure = MakePlan(line, inputs, plan);
    EXPECT_FALSE(failure) << LineOf(*failure);
    return plan;
}

std::string Refusal(const OpenedInput& input, CommandLine line = {}) {
    Plan plan;
    const auto failure = MakePlan(line, {input}, plan);
    return failure ? LineOf(*failure) : "accepted";
}

TEST(Plan, TheMixHoldsEveryTargetAtTheFastestRate) {
    InputOptions right;
    right.rects[0].first.target = Geometry{{0, 0}, {640, 100}};
    const Plan plan = Planned({File({640, 360}, {24, 1}), File({568, 320}, {30000, 1001}, right)});
    EXPECT_EQ(plan.size, (Size{1208, 420}));
    EXPECT_EQ(plan.rate, (Rate{30000, 1001}));
    EXPECT_EQ(plan.inputs[0].waitFrames, 250);
    EXPECT_TRUE(plan.HasEnd());

    CommandLine line;
    line.size = Size{1280, 720};
    line.rate = Rate{25, 1};
    const Plan given = Planned({File({640, 360}, {24, 1})}, line);
    EXPECT_EQ(given.size, (Size{1280, 720}));
    EXPECT_EQ(given.rate, (Rate{25, 1}));
}

TEST(Plan, EdgesComeToEvenPixelsAndSizesStayEqual) {
    InputOptions options;
    options.rects[0].first = {.source = Geometry{{101, 51}, {3, 4}},
                              .target = Geometry{{0, 0}, {-7, 9}}};
    const Plan plan = Planned({File({641, 361}, {25, 1}, options)});
    const RectValues& rect = plan.inputs[0].rects[0].first;
    EXPECT_EQ(rect.source, (Geometry{{100, 50}, {4, 4}}));
    EXPECT_EQ(rect.target, (Geometry{{100, 50}, {-6, 10}}));
    EXPECT_EQ(Planned({File({641, 361}, {25, 1})}).size, (Size{640, 360}));
}

TEST(Plan, AMoveChangesWhatItNamesAndKeepsTheRest) {
    InputOptions moving;
    moving.rects[0].first = {.target = Geometry{{320, 180}, {0, 0}}, .alpha = 0.5};
    moving.rects[0].moves = {{{.target = Geometry{{0, 0}, {11, 12}}}, {300, 10}},
                             {{.turn = Pair{30, 0}}, {500, 10}}};
    InputOptions twice;
    twice.rects.emplace_back();
    twice.rects[1].moves = {{{.target = Geometry{{100, 100}, {0, 0}}}, {400, 0}}};
    CommandLine line;
    line.backgroundChanges = {{{0xFFFF0000, {}}, {350, 0}}};
    const Plan plan =
        Planned({File({640, 360}, {25, 1}, moving), File({64, 48}, {50, 1}, twice)}, line);
    ASSERT_EQ(plan.changes.size(), 4U);
    EXPECT_EQ(plan.changes[0].values.target, (Geometry{{320, 180}, {12, 12}}));
    EXPECT_EQ(plan.changes[0].values.alpha, 0.5);
    EXPECT_FALSE(plan.changes[1].input);
    EXPECT_EQ(plan.changes[2].input, 1U);
    EXPECT_EQ(plan.changes[2].rect, 1U);
    EXPECT_EQ(plan.changes[3].values.target, plan.changes[0].values.target);
    EXPECT_EQ(plan.changes[3].values.turn, (Pair{30, 0}));
    EXPECT_EQ(plan.FastestRate(), (Rate{50, 1}));
}

TEST(Plan, WhatHasNoEndOfItsOwnDoesNotKeepTheMixGoing) {
    OpenedInput still = File({640, 360}, {});
    still.probed.isStill = true;
    InputOptions looped;
    looped.loop = true;
    const std::vector<OpenedInput> endless = {TestPicture({320, 240}, {25, 1}), still,
                                              File({320, 240}, {25, 1}, looped)};
    EXPECT_FALSE(Planned(endless).HasEnd());
    CommandLine line;
    line.duration = 1'000'000'000;
    EXPECT_TRUE(Planned(endless, line).HasEnd());
    // Stills alone have no rate to follow.
    EXPECT_EQ(Planned({still}).rate, (Rate{25, 1}));
}

TEST(Plan, WhatWouldNotBeSeenIsRefused) {
    InputOptions outside;
    outside.rects[0].moves = {{{.source = Geometry{{320, 240}, {400, 0}}}, {}}};
    EXPECT_NE(Refusal(File({640, 360}, {25, 1}, outside)).find("the picture is 640x360"),
              std::string::npos);
    InputOptions away;
    away.rects[0].first.target = Geometry{{0, 0}, {1280, 0}};
    CommandLine line;
    line.size = Size{1280, 720};
    EXPECT_NE(Refusal(File({640, 360}, {25, 1}, away), line).find("never seen"), std::string::npos);
    away.rects[0].moves = {{{.target = Geometry{{0, 0}, {640, 0}}}, {}}};
    EXPECT_EQ(Refusal(File({640, 360}, {25, 1}, away), line), "accepted");
    line.rate = Rate{25, 1};
    line.duration = 10'000'000;
    EXPECT_NE(Refusal(File({640, 360}, {25, 1}), line).find("shorter than a frame"),
              std::string::npos);
    line.duration = 1'000'000'000;
    line.captures = {{"late.png", 1'000'000'000}};
    EXPECT_NE(Refusal(File({640, 360}, {25, 1}), line).find("late.png: never made"),
              std::string::npos);
    InputOptions looped;
    looped.loop = true;
    OpenedInput stream = File({640, 360}, {25, 1}, looped);
    stream.probed.isSeekable = false;
    EXPECT_NE(Refusal(stream).find("--loop"), std::string::npos);
}

}  // namespace
}  // namespace qdvm::qdmix
