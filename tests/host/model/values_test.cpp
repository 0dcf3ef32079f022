#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "host/sdk/custom_types.h"
#include "host/sdk/document.h"

namespace host {
namespace {

TEST(BaseTime, WholeFramesAreExactAtEveryRate) {
    for (const Int32 fps : {1, 24, 25, 30, 48, 60, 120, 2500}) {
        for (const Int64 frame : {Int64(0), Int64(1), Int64(7), Int64(29), Int64(30), Int64(1001), Int64(-1), Int64(-7),
                                  Int64(123456789)}) {
            const BaseTime time = BaseTime::FromFrame(frame, fps);
            EXPECT_EQ(time.GetFrame(fps), frame) << fps;
            EXPECT_EQ(BaseTime(time.Get()).GetFrame(fps), frame) << "through seconds, " << fps;
            EXPECT_EQ((time + BaseTime(0.25, fps)).GetFrame(fps), frame) << "a quarter of a frame later, " << fps;
        }
    }
    EXPECT_EQ(BaseTime(1, 0).GetFrame(30), 30);
    EXPECT_EQ(BaseTime(std::nan("")).GetFrame(30), 0);
    EXPECT_EQ(BaseTime(1e300).GetFrame(30), 0);
    BaseTime sum;
    for (int i = 0; i < 3000; ++i) sum = sum + BaseTime(1, i % 2 ? 24 : 25);
    EXPECT_NEAR(sum.Get(), 1500.0 / 24 + 1500.0 / 25, 1e-9);
}

TEST(String, NumbersAndPaths) {
    const struct {
        Float value;
        Int32 decimals;
        const char* text;
    } numbers[] = {{1.5, -1, "1.5"},
                   {2.0, -1, "2"},
                   {-0.0, -1, "0"},
                   {1.0 / 3, -1, "0.333333"},
                   {2.0, 2, "2.00"},
                   {1e-9, -1, "0"},
                   {1234567.25, 1, "1234567.2"},
                   {-0.5, 0, "-0"}};
    for (const auto& row : numbers) EXPECT_EQ(String::FloatToString(row.value, row.decimals).str(), row.text);
    EXPECT_GE(String::FloatToString(std::numeric_limits<Float>::max(), 60).GetLength(), 309);

    const struct {
        const char* text;
        Bool ok;
        Float value;
    } parsed[] = {{" 12 ", true, 12}, {"+3.5", true, 3.5}, {"1e3", true, 1000}, {"", false, 0},
                  {"12x", false, 0},  {"x", false, 0},     {"1 2", false, 0}};
    for (const auto& row : parsed) {
        Bool ok = !row.ok;
        EXPECT_EQ(String(row.text).ToFloat(&ok), row.value) << row.text;
        EXPECT_EQ(ok, row.ok) << row.text;
    }
    const struct {
        const char *path, *file, *folder, *suffix;
    } paths[] = {{"/a/b.png", "b.png", "/a", "png"},
                 {"b", "b", "", ""},
                 {"/b", "b", "/", ""},
                 {"/a.b/c", "c", "/a.b", ""},
                 {"/a/.hid", ".hid", "/a", ""},
                 {"/a/x.tar.gz", "x.tar.gz", "/a", "gz"}};
    for (const auto& row : paths) {
        const Filename name(row.path);
        EXPECT_EQ(name.GetFileString(), String(row.file)) << row.path;
        EXPECT_EQ(name.GetDirectory(), Filename(row.folder)) << row.path;
        EXPECT_EQ(name.GetSuffix(), String(row.suffix)) << row.path;
    }
    EXPECT_EQ(Filename("/a/") + Filename("/b"), Filename("/a/b"));
    EXPECT_EQ(Filename("") + Filename("b"), Filename("b"));
    EXPECT_TRUE(Filename("x.PNG").CheckSuffix("png"));
}

TEST(GeData, NumbersConvertAndOthersFallBack) {
    EXPECT_EQ(GeData(3.9).GetInt32(), 3);
    EXPECT_EQ(GeData(7).GetFloat(), 7.0);
    EXPECT_EQ(GeData(std::nan("")).GetInt64(5), 5);
    EXPECT_EQ(GeData(1e300).GetInt64(), std::numeric_limits<Int64>::max());
    EXPECT_EQ(GeData("text").GetInt32(9), 9);
    EXPECT_EQ(GeData(Vector(1, 2, 3)).GetFloat(4), 4);
    EXPECT_EQ(GeData(std::nan("")), GeData(std::nan("")));
    EXPECT_FALSE(GeData(1) == GeData(1.0));
    GeData self(BaseContainer(3));
    self = *&self;
    ASSERT_NE(self.GetContainer(), nullptr);
    EXPECT_EQ(self.GetContainer()->GetId(), 3);
}

TEST(BaseContainer, KeepsOrderAndFindsFirstsWhateverTheSize) {
    for (const Int32 count : {3, 16, 17, 400}) {
        BaseContainer container;
        for (Int32 i = 0; i < count; ++i) container.SetInt32(1000 - i, i);
        container.InsData(1000, GeData("second"));
        const BaseContainer copy = container;
        ASSERT_EQ(container.GetCount(), count + 1);
        EXPECT_EQ(container.GetInt32(1000), 0) << "the first of two";
        EXPECT_EQ(container.FindIndex(1000 - (count - 1)), count - 1);
        EXPECT_FALSE(container.Has(1001));
        EXPECT_TRUE(container.RemoveData(1000));
        EXPECT_EQ(container.GetString(1000), String("second")) << "the other one is found now";
        container.InsDataAt(0, 5, GeData(55));
        EXPECT_EQ(container.GetIndexId(0), 5);
        EXPECT_EQ(container.FindIndex(1000 - (count - 1)), count - 1);
        EXPECT_EQ(copy.GetInt32(1000), 0) << "copies share nothing";
        EXPECT_FALSE(copy.Has(5));
        BaseContainer merged = copy;
        merged.Merge(container);
        EXPECT_EQ(merged.GetInt32(5), 55);
        EXPECT_TRUE(merged.GetIndexData(-1).IsNil() && merged.GetIndexData(99999).IsNil());
    }
}

TEST(BaseContainer, CountsChangesAndOnlyThose) {
    BaseContainer container;
    UInt32 last = container.GetDirty();
    const auto rose = [&] {
        const UInt32 now = container.GetDirty();
        const Bool result = now > last;
        EXPECT_GE(now, last) << "counters never fall";
        last = now;
        return result;
    };
    BaseContainer inner;
    inner.SetInt32(1, 1);
    container.SetInt32(1, 5);
    EXPECT_TRUE(rose());
    container.SetInt32(1, 5);
    EXPECT_FALSE(rose()) << "equal";
    container.SetFloat(2, std::nan(""));
    EXPECT_TRUE(rose());
    container.SetFloat(2, std::nan(""));
    EXPECT_FALSE(rose()) << "the same NaN";
    container.SetContainer(3, inner);
    EXPECT_TRUE(rose());
    container.GetContainerInstance(3)->SetInt32(1, 2);
    EXPECT_TRUE(rose()) << "inside a container inside";
    container.SetContainer(3, inner);
    EXPECT_TRUE(rose()) << "a container with fewer counts replaces one with more";
    container.RemoveData(3);
    EXPECT_TRUE(rose());
    container.RemoveData(3);
    EXPECT_FALSE(rose());
    BaseContainer other;
    other.SetInt32(1, 6);
    container = other;
    EXPECT_TRUE(rose());
    container = other;
    EXPECT_FALSE(rose());
    container = BaseContainer(other);
    EXPECT_FALSE(rose());
    container.FlushAll();
    EXPECT_TRUE(rose());
    container.FlushAll();
    EXPECT_FALSE(rose());
}

TEST(Gradient, InterpolatesBetweenUnsortedKnots) {
    Gradient gradient;
    EXPECT_EQ(gradient.Calc(0.5), Vector());
    gradient.knots = {{.colour = Vector(1.0), .position = 1, .interpolation = Gradient::Interpolation::Linear},
                      {.colour = Vector(0.0), .position = 0, .interpolation = Gradient::Interpolation::Linear}};
    EXPECT_EQ(gradient.Calc(-1), Vector(0.0));
    EXPECT_EQ(gradient.Calc(2), Vector(1.0));
    EXPECT_NEAR(gradient.Calc(0.25).x, 0.25, 1e-12);
    gradient.knots[1].interpolation = Gradient::Interpolation::Smooth;
    EXPECT_NEAR(gradient.Calc(0.5).x, 0.5, 1e-12);
    EXPECT_LT(gradient.Calc(0.25).x, 0.25);
    gradient.knots[1].interpolation = Gradient::Interpolation::Step;
    EXPECT_EQ(gradient.Calc(0.99), Vector(0.0));
}

TEST(BaseSelect, RangesStaySortedAndDisjoint) {
    BaseSelect select;
    std::vector<bool> truth(200);
    UInt32 state = 1;
    const auto random = [&](UInt32 n) {
        return static_cast<Int32>((state = state * 1664525u + 1013904223u) >> 8) % static_cast<Int32>(n);
    };
    for (int step = 0; step < 2000; ++step) {
        const Int32 first = random(200), last = std::min(199, first + random(20));
        const Bool on = random(2) == 0;
        on ? select.Select(first, last) : select.Deselect(first, last);
        for (Int32 i = first; i <= last; ++i) truth[static_cast<std::size_t>(i)] = on;
    }
    Int64 count = 0;
    for (Int32 i = 0; i < 200; ++i) {
        EXPECT_EQ(select.IsSelected(i), truth[static_cast<std::size_t>(i)]) << i;
        count += truth[static_cast<std::size_t>(i)];
    }
    EXPECT_EQ(select.GetCount(), count);
    for (std::size_t i = 1; i < select.Ranges().size(); ++i) {
        EXPECT_GT(select.Ranges()[i].first, select.Ranges()[i - 1].last + 1) << "touching ranges are one";
    }
    select.DeselectAll();
    select.Select(0, std::numeric_limits<Int32>::max());
    select.Deselect(5, 5);
    EXPECT_EQ(select.GetCount(), (Int64(1) << 31) - 1);
}

TEST(Colour, TransformsAreInverseAndPiecewise) {
    const auto linear = [](Float v) { return TransformColor(Vector(v), ColorTransform::SrgbToLinear).x; };
    EXPECT_NEAR(linear(0.5), 0.21404114048223255, 1e-12);
    EXPECT_NEAR(linear(0.04), 0.04 / 12.92, 1e-15);
    for (Float v = -0.5; v < 3; v += 0.01) {
        EXPECT_NEAR(TransformColor(Vector(linear(v)), ColorTransform::LinearToSrgb).y, v, 1e-6);
    }
}

TEST(BaseTrack, HoldsOutsideAndInterpolatesInside) {
    BaseTrack* track = BaseTrack::Alloc(DescID(1));
    EXPECT_TRUE(track->GetValue(BaseTime(0.0)).IsNil());
    track->SetKey({BaseTime(2.0), GeData(20.0)});
    track->SetKey({BaseTime(1.0), GeData(10.0), BaseTrack::Interpolation::Step});
    track->SetKey({BaseTime(0.0), GeData(5.0)});
    track->SetKey({BaseTime(0.0), GeData(0.0)});  // replaces
    ASSERT_EQ(track->GetKeys().size(), 3u);
    const std::pair<Float, Float> rows[] = {{-1, 0}, {0, 0}, {0.5, 5}, {1, 10}, {1.9, 10}, {2, 20}, {9, 20}};
    for (const auto& [time, value] : rows) EXPECT_NEAR(track->GetValue(BaseTime(time)).GetFloat(), value, 1e-12);
    BaseList2D* owned = track;

    BaseTrack* turn = BaseTrack::Alloc(DescID(ID_BASEOBJECT_REL_MATRIX));
    Matrix end = HPBToMatrix({2.0, 0, 0});
    end.v1 *= 3;
    turn->SetKey({BaseTime(0.0), GeData(Matrix())});
    turn->SetKey({BaseTime(1.0), GeData(end)});
    const Matrix half = turn->GetValue(BaseTime(0.5)).GetMatrix();
    EXPECT_NEAR(MatrixToHPB(half).x, 1.0, 1e-9) << "half the angle";
    EXPECT_NEAR(half.GetScale().x, 2.0, 1e-9);
    EXPECT_NEAR(half.GetScale().z, 1.0, 1e-9) << "an element by element mix would shrink";
    delete turn;
    delete owned;
}

}  // namespace
}  // namespace host
