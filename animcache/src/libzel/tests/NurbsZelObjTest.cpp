#include "NurbsZelObj.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/HelperFixture.h"

using namespace Zel;
using namespace ZelTest;

namespace {

// Stored points (i, j, 10i + j), u major; a curve has j = 0.
Floats grid(int mu, int mv) {
    Floats p;
    for (int i = 0; i < mu; ++i) {
        for (int j = 0; j < mv; ++j) {
            p.insert(p.end(), {float(i), float(j), float(10 * i + j)});
        }
    }
    return p;
}

Floats point(int i, int j) {
    return {float(i), float(j), float(10 * i + j), 1};
}

// The homogeneous point p of `points`, as floats.
template <class T>
Floats at(const std::vector<T>& points, int p) {
    return Floats(points.begin() + 4 * p, points.begin() + 4 * p + 4);
}

// A curve (one degree and form) or a surface (two) with static definition chunks.
int addNurbs(CacheBuilder& b, const std::vector<int>& degrees, const Strings& forms,
             const Floats& ku, const Floats& kv = {}) {
    const int o = b.addObject("nurbs");
    b.addStatic<int>(o, degrees.size() == 1 ? "NRBC" : "NRBS", {1});
    b.addStatic<int>(o, "DEGR", degrees);
    b.addStatic<std::string>(o, "FORM", forms);
    if (!ku.empty()) {
        b.addStatic<float>(o, "KNTU", ku);
    }
    if (!kv.empty()) {
        b.addStatic<float>(o, "KNTV", kv);
    }
    return o;
}

}  // namespace

TEST(NurbsCurveZelObj, DegreeFormKnotsAndPeriodicControlPoints) {
    CacheBuilder b(1, 0, 1);
    // Cubic periodic, 11 knots: 9 control points, 6 stored (in the sample).
    const int periodic = addNurbs(b, {3}, {"kPeriodic"}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    b.addSampled<float>(0, periodic, "POSI", grid(6, 1), 3);
    // Knots as double; positions as double, which control points refuse.
    const int dbl = addNurbs(b, {2}, {"kOpen"}, {});
    b.addStatic<double>(dbl, "KNTU", {0, 0, 0, 1, 2, 2, 2});
    b.addStatic<double>(dbl, "POSI", {0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5, 5, 5});
    // Periodic with fewer stored points (1) than its degree: the wrap repeats that one.
    const int shortPeriod = addNurbs(b, {3}, {"kPeriodic"}, {0, 1, 2, 3, 4, 5});
    b.addStatic<float>(shortPeriod, "POSI", grid(1, 1), 3);
    LoadedCache lc(b);

    HelperPtr<NurbsCurveZelObj> c = lc.get<NurbsCurveZelObj>(periodic);
    int degree = 0;
    std::string form;
    State state = kAnimated;
    ASSERT_TRUE(c->getDegree(0, degree, state) && c->getForm(0, form, state));
    EXPECT_EQ(std::to_string(degree) + form, "3kPeriodic");
    EXPECT_EQ(state, kStatic);
    Doubles points;
    ASSERT_TRUE(c->getControlPoints(0, points, state));
    EXPECT_EQ(state, kAnimated);
    ASSERT_EQ(points.size(), 36u);
    for (int p = 0; p < 9; ++p) {
        EXPECT_EQ(at(points, p), point(p % 6, 0)) << p;  // 6, 7, 8 repeat 0, 1, 2
    }

    c = lc.get<NurbsCurveZelObj>(dbl);
    Floats knots;
    ASSERT_TRUE(c->getKnots(0, knots, state));
    EXPECT_EQ(knots, (Floats{0, 0, 0, 1, 2, 2, 2}));
    ASSERT_TRUE(c->getKnots(0, knots, state, true));
    EXPECT_EQ(knots, (Floats{0, 0, 0, 0, 1, 2, 2, 2, 2}));
    Floats untouched{7};
    EXPECT_FALSE(c->getControlPoints(0, untouched, state));
    EXPECT_EQ(untouched, Floats{7});
    ASSERT_TRUE(lc.get<NurbsCurveZelObj>(shortPeriod)->getControlPoints(0, points, state));
    EXPECT_EQ(points, (Doubles{0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1}));
}

TEST(NurbsSurfaceZelObj, DegreesFormsAndKnotsPerDirection) {
    CacheBuilder b(1, 0, 1);
    const int s = addNurbs(b, {1, 2}, {"kOpen", "kPeriodic"}, {0, 1}, {});
    b.addSampled<double>(0, s, "KNTV", {0, 0, 5, 5});
    const int one = addNurbs(b, {3}, {"kOpen"}, {0, 1});  // one degree, one form, no "KNTV"
    b.addStatic<int>(one, "NRBS", {1});
    LoadedCache lc(b);
    HelperPtr<NurbsSurfaceZelObj> obj = lc.get<NurbsSurfaceZelObj>(s);
    int du = -1, dv = -1;
    std::string fu = "u", fv = "v";
    State state = kAnimated;
    ASSERT_TRUE(obj->getDegree(0, du, dv, state) && obj->getForm(0, fu, fv, state));
    EXPECT_EQ(du * 10 + dv, 12);
    EXPECT_EQ(fu + fv, "kOpenkPeriodic");
    EXPECT_EQ(state, kStatic);
    Floats fu1{7}, fv1;
    ASSERT_TRUE(obj->getKnots(0, fu1, fv1, state));
    EXPECT_EQ(fu1, (Floats{0, 1}));
    EXPECT_EQ(fv1, (Floats{0, 0, 5, 5}));
    EXPECT_EQ(state, kAnimated);  // the v knots came from the sample
    Doubles u, kv;
    ASSERT_TRUE(obj->getKnots(0, u, kv, state, true));
    EXPECT_EQ(u, (Doubles{0, 0, 1, 1}));
    EXPECT_EQ(kv, (Doubles{0, 0, 0, 5, 5, 5}));

    // Fewer than two degrees or forms: true, degrees 0, forms untouched; no "KNTV": false.
    obj = lc.get<NurbsSurfaceZelObj>(one);
    fu = "u";
    ASSERT_TRUE(obj->getDegree(0, du, dv, state) && obj->getForm(0, fu, fv, state));
    EXPECT_EQ(du + dv, 0);
    EXPECT_EQ(fu + fv, "ukPeriodic");
    u = {7};
    EXPECT_FALSE(obj->getKnots(0, u, kv, state));
    EXPECT_EQ(u, Doubles{7});
}

TEST(NurbsZelObj, ControlPointsAtTimeBlendEveryValueWeightsIncluded) {
    // Samples at times 0..5; sample s stores every value as c + s³ (c its position), so around
    // time 1.5 the blends give c + 4.5 (linear, samples 1 and 2), c + 3 (quadratic over 1..3,
    // t = -0.5) and c + 1.875 (Catmull-Rom over 1..4, weights 9/16, 3/16, 7/16, -3/16).
    CacheBuilder b(6, 0, 1);
    const int curve = addNurbs(b, {1}, {"kOpen"}, {0, 1, 2});                        // 3 points
    const int surface = addNurbs(b, {1, 1}, {"kOpen", "kOpen"}, {0, 1}, {0, 1, 2});  // 2 x 3
    auto values = [](int n, float offset, bool weights) {
        Floats v;
        for (int c = 0; c < 3 * n; ++c) {
            v.push_back(float(c) + offset);
            if (weights && c % 3 == 2) {
                v.push_back(1);
            }
        }
        return v;
    };
    for (int s = 0; s < 6; ++s) {
        b.addSampled<float>(s, curve, "POSI", values(3, float(s * s * s), false), 3);
        b.addSampled<float>(s, surface, "POSI", values(6, float(s * s * s), false), 3);
    }
    LoadedCache lc(b);
    const HelperPtr<NurbsCurveZelObj> c = lc.get<NurbsCurveZelObj>(curve);
    const HelperPtr<NurbsSurfaceZelObj> s = lc.get<NurbsSurfaceZelObj>(surface);

    ZelInterpolationHints hints;
    State state = kStatic;
    Floats f;
    Doubles d;
    const float offsets[] = {1, 4.5f, 3, 1.875f};  // order 0 takes sample 1
    for (int order = 0; order <= 3; ++order) {
        hints.order = order;
        ASSERT_TRUE(c->getControlPointsAtTime(1.5f, hints, f, state)) << order;
        EXPECT_EQ(f, values(3, offsets[order], true)) << order;
        EXPECT_EQ(state, kAnimated);
        ASSERT_TRUE(s->getControlPointsAtTime(1.5f, hints, d, state)) << order;
        EXPECT_EQ(Floats(d.begin(), d.end()), values(6, offsets[order], true)) << order;
    }
    // The double version weighs in single precision but sums in double: at t = 0.1 that differs
    // from the float sums widened.
    hints.order = 1;
    ASSERT_TRUE(c->getControlPointsAtTime(1.1f, hints, d, state));
    const float t = (1.1f - 1.0f) / (2.0f - 1.0f);
    bool differs = false;
    for (int p = 0; p < 9; ++p) {
        const float p0 = float(p) + 1, p1 = float(p) + 8;
        EXPECT_EQ(d[p + p / 3], double(1.0f - t) * p0 + double(t) * p1) << p;
        differs = differs || d[p + p / 3] != double((1.0f - t) * p0 + t * p1);
    }
    EXPECT_TRUE(differs);
    // Order 4: the curve fails, output untouched; the surface takes sample 1, the run's first.
    hints.order = 4;
    f = {7};
    EXPECT_FALSE(c->getControlPointsAtTime(1.5f, hints, f, state));
    EXPECT_EQ(f, Floats{7});
    ASSERT_TRUE(s->getControlPointsAtTime(1.5f, hints, f, state));
    EXPECT_EQ(f, values(6, 1, true));
    // A blend keeps the asked order: u fastest is the transpose of the 2 x 3 grid.
    hints.order = 1;
    ASSERT_TRUE(s->getControlPointsAtTime(1.5f, hints, f, state, true));
    const Floats vFastest = values(6, 4.5f, true);
    for (int p = 0; p < 6; ++p) {
        EXPECT_EQ(at(f, p), at(vFastest, (p % 2) * 3 + p / 2)) << p;
    }
}

TEST(NurbsSurfaceZelObj, ControlPointsInEitherOrderWithPeriodicWrap) {
    CacheBuilder b(1, 0, 1);
    // Open 4 x 5 (degrees 1 and 2); periodic 5 x 3 stored as 3 x 2 (degrees 2 and 1).
    const int open = addNurbs(b, {1, 2}, {"kOpen", "kOpen"}, {0, 1, 2, 3}, {0, 0, 1, 2, 3, 3});
    b.addStatic<float>(open, "POSI", grid(4, 5), 3);
    const int periodic =
        addNurbs(b, {2, 1}, {"kPeriodic", "kPeriodic"}, {0, 1, 2, 3, 4, 5}, {0, 1, 2});
    b.addStatic<float>(periodic, "POSI", grid(3, 2), 3);
    // Periodic in u with fewer stored rows (1) than its degree (3): refused.
    const int shortPeriod =
        addNurbs(b, {3, 1}, {"kPeriodic", "kOpen"}, {0, 1, 2, 3, 4, 5}, {0, 1, 2});
    b.addStatic<float>(shortPeriod, "POSI", grid(1, 3), 3);
    LoadedCache lc(b);
    // Object, control points in u and v, distinct stored points in u and v.
    const int shapes[][5] = {{open, 4, 5, 4, 5}, {periodic, 5, 3, 3, 2}};
    for (const auto& sh : shapes) {
        const HelperPtr<NurbsSurfaceZelObj> s = lc.get<NurbsSurfaceZelObj>(sh[0]);
        Floats vFastest;
        Doubles uFastest;
        State state = kAnimated;
        ASSERT_TRUE(s->getControlPoints(0, vFastest, state));
        EXPECT_EQ(state, kStatic);
        ASSERT_TRUE(s->getControlPoints(0, uFastest, state, true));
        ASSERT_EQ(vFastest.size(), 4u * sh[1] * sh[2]);
        ASSERT_EQ(uFastest.size(), vFastest.size());
        for (int i = 0; i < sh[1]; ++i) {
            for (int j = 0; j < sh[2]; ++j) {
                EXPECT_EQ(at(vFastest, i * sh[2] + j), point(i % sh[3], j % sh[4])) << i << j;
                EXPECT_EQ(at(uFastest, j * sh[1] + i), point(i % sh[3], j % sh[4])) << i << j;
            }
        }
    }
    Floats f{7};
    State state = kStatic;
    EXPECT_FALSE(lc.get<NurbsSurfaceZelObj>(shortPeriod)->getControlPoints(0, f, state));
    EXPECT_EQ(f, Floats{7});
}

TEST(NurbsSurfaceZelObj, PerControlPointAttributesAndRestPose) {
    CacheBuilder b(3, 0, 1);
    const int s = addNurbs(b, {1, 1}, {"kOpen", "kOpen"}, {0, 1}, {0, 1, 2});  // 2 x 3
    const int late = b.addAnimatedAttr(s, "late");  // no value in sample 1
    b.addAnimatedValue<double>(0, s, {1});
    // Element e: (e, 10e) as double, e as int64, a letter, or 5 floats (not one per point).
    Doubles pairs;
    std::vector<int64> ids;
    Strings names;
    for (int e = 0; e < 6; ++e) {
        pairs.insert(pairs.end(), {double(e), 10.0 * e});
        ids.push_back(e);
        names.push_back(std::string(1, char('a' + e)));
    }
    const int aPairs = b.addStaticAttr<double>(s, "pairs", pairs, 2);
    const int aIds = b.addStaticAttr<int64>(s, "ids", ids);
    const int aNames = b.addStaticAttr<std::string>(s, "names", names);
    const int aOdd = b.addStaticAttr<float>(s, "odd", {0, 1, 2, 3, 4}, 1);
    b.addStaticAttr<float>(s, "rmanP__Pref", grid(2, 3), 3);
    // The degrees only in samples 0 and 1: the rest pose, read at no sample, can't be reordered.
    const int anim = b.addObject("anim");
    b.addStatic<int>(anim, "NRBS", {1});
    b.addStatic<float>(anim, "KNTU", {0, 1});
    b.addStatic<float>(anim, "KNTV", {0, 1, 2});
    b.addSampled<int>(0, anim, "DEGR", {1, 1});
    b.addSampled<int>(1, anim, "DEGR", {1, 1});
    b.addStaticAttr<double>(anim, "vorn_Pref", pairs, 2);
    LoadedCache lc(b);
    HelperPtr<NurbsSurfaceZelObj> obj = lc.get<NurbsSurfaceZelObj>(s);

    // u fastest takes stored elements 0, 3, 1, 4, 2, 5; the companion type fills in.
    const Floats pairsUFastest{0, 0, 3, 30, 1, 10, 4, 40, 2, 20, 5, 50};
    Floats f;
    int dim = 0;
    ASSERT_TRUE(obj->getAttr(0, aPairs, f, dim, true));
    EXPECT_EQ(dim, 2);
    EXPECT_EQ(f, pairsUFastest);
    Doubles d;
    ASSERT_TRUE(obj->getAttr(0, aPairs, d, dim));
    EXPECT_EQ(d, pairs);
    std::vector<int> iv;
    ASSERT_TRUE(obj->getAttr(0, aIds, iv, dim, true));
    EXPECT_EQ(iv, (std::vector<int>{0, 3, 1, 4, 2, 5}));
    Strings sv;
    ASSERT_TRUE(obj->getAttr(0, aNames, sv, true));
    EXPECT_EQ(sv, (Strings{"a", "d", "b", "e", "c", "f"}));
    EXPECT_FALSE(obj->getAttr(0, aIds, sv));  // strings have no companion
    EXPECT_EQ(sv.size(), 6u);
    ASSERT_TRUE(obj->getAttr(0, aOdd, f, dim, true));
    EXPECT_EQ(f, (Floats{0, 1, 2, 3, 4}));
    // Missing data: the value and the companion reads both report it; strings read once.
    testing::internal::CaptureStderr();
    EXPECT_FALSE(obj->getAttr(1, late, f, dim));
    EXPECT_FALSE(obj->getAttr(1, late, sv));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), kMissingAtrs + kMissingAtrs + kMissingAtrs);

    // The rest pose keeps its own 3 components, no weight, reordered like an attribute.
    ASSERT_TRUE(obj->getPrefControlPoints(d, true));
    EXPECT_EQ(Floats(d.begin(), d.end()),
              (Floats{0, 0, 0, 1, 0, 10, 0, 1, 1, 1, 1, 11, 0, 2, 2, 1, 2, 12}));

    obj = lc.get<NurbsSurfaceZelObj>(anim);
    ASSERT_TRUE(obj->getPrefControlPoints(f));
    EXPECT_EQ(f, Floats(pairs.begin(), pairs.end()));
    EXPECT_FALSE(obj->getPrefControlPoints(f, true));
    ASSERT_TRUE(obj->getAttr(1, 0, f, dim, true));
    EXPECT_EQ(f, pairsUFastest);
    EXPECT_FALSE(obj->getAttr(2, 0, f, dim, true));
    EXPECT_EQ(f.size(), 12u);
}
