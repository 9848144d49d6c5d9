// The synthetic scene: the hemisphere's path and the invariants that tie its
// renderings together. The pixels themselves are compared with the formulas
// of sim/stream/README.md, frame by frame, by the Python package's test
// (tests/python, its scene()).
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "scene.h"

namespace {

using namespace ornsim;

struct Renderings {
    std::vector<float> xyz;
    std::vector<uint16_t> c16;
    std::vector<uint8_t> conf, mono;
};

Renderings render_all(const SceneConfig& sc, uint64_t frame) {
    const size_t n = size_t{sc.width} * sc.height;
    Renderings r{std::vector<float>(3 * n), std::vector<uint16_t>(n), std::vector<uint8_t>(n), std::vector<uint8_t>(n)};
    render_range_abc32f(sc, frame, r.xyz.data());
    render_range_c16(sc, frame, r.c16.data());
    render_confidence8(sc, frame, r.conf.data());
    render_intensity8(sc, frame, r.mono.data());
    return r;
}

TEST(StreamScene, TheHemisphereMovesOnePixelPerFrameAndWraps) {
    const SceneConfig sc{640, 480, kSceneDefaultC16ScaleMm, kSceneDefaultC16OffsetMm};
    EXPECT_EQ(scene_sphere(sc, 0).center_u, 160);
    EXPECT_EQ(scene_sphere(sc, 10).center_u, 170);
    EXPECT_EQ(scene_sphere(sc, 319).center_u, 479);
    EXPECT_EQ(scene_sphere(sc, 320).center_u, 160);
    EXPECT_EQ(scene_pixel(sc, 10, 170, 240).confidence, 255);
    EXPECT_EQ(scene_pixel(sc, 10, 170, 240).intensity, (170 + 480 + 30) % 256);
    EXPECT_FALSE(scene_pixel(sc, 0, 50, 240).on_sphere);
    EXPECT_TRUE(scene_pixel(sc, 0, 50, 240).valid);
    EXPECT_TRUE(scene_pixel(sc, 0, 100, 240).on_sphere);
    // A scale of zero stands for the default 0.05 mm: 989.025 mm is 19781 steps.
    EXPECT_EQ(scene_pixel(SceneConfig{640, 480, 0.0f, 0.0f}, 0, 100, 100).c16, 19781);
}

TEST(StreamScene, RenderingsAgreeOnValidityAndQuantisation) {
    for (const SceneConfig sc : {SceneConfig{640, 480, 0.05f, 0.0f}, SceneConfig{97, 61, 0.02f, 900.0f}}) {
        for (uint64_t frame : {uint64_t{0}, uint64_t{7}, uint64_t{1000003}}) {
            const Renderings r = render_all(sc, frame);
            size_t invalid = 0, sphere = 0;
            for (size_t i = 0; i < r.c16.size(); ++i) {
                const bool nan =
                    std::isnan(r.xyz[3 * i]) || std::isnan(r.xyz[3 * i + 1]) || std::isnan(r.xyz[3 * i + 2]);
                EXPECT_EQ(nan, std::isnan(r.xyz[3 * i + 2])) << "all three coordinates invalid together";
                EXPECT_EQ(nan, r.c16[i] == 0) << i;
                EXPECT_EQ(nan, r.conf[i] == 0) << i;
                if (nan) {
                    ++invalid;
                    continue;
                }
                const double z = static_cast<double>(r.xyz[3 * i + 2]);
                const double back =
                    r.c16[i] * static_cast<double>(sc.c16_scale_mm) + static_cast<double>(sc.c16_offset_mm);
                EXPECT_LE(std::fabs(back - z), static_cast<double>(sc.c16_scale_mm) / 2 + 1e-3) << i;
                const double plane = 1000.0 + 0.1 * static_cast<double>(r.xyz[3 * i]);
                if (r.conf[i] > 200) {
                    ++sphere;
                    EXPECT_LT(z, plane - 1e-3) << "sphere pixels stand out of the plane";
                } else {
                    EXPECT_NEAR(z, plane, 1e-3);
                }
            }
            // The 4-pixel border alone invalidates this many pixels.
            const size_t border = size_t{sc.width} * sc.height - size_t{sc.width - 8} * (sc.height - 8);
            EXPECT_GT(invalid, border);
            EXPECT_GT(sphere, 0u);
        }
    }
}

}  // namespace
