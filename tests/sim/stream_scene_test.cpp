// The synthetic scene: hand-computed pixels from the formulas written in
// sim/stream/README.md, and the invariants that tie its renderings together.
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

TEST(StreamScene, PixelsMatchTheDocumentedFormulas) {
    const SceneConfig sc{640, 480, 0.04f, 0.0f};
    const Renderings r = render_all(sc, 0);
    auto at = [&](uint32_t u, uint32_t v) { return size_t{v} * 640 + u; };

    // Plane pixel (100, 100): X = (100 - 319.5) * 0.5, Y = (100 - 239.5) * 0.5,
    // Z = 1000 + 0.1 X; confidence 100 + 100*100/480; intensity (100 + 200) mod 256.
    size_t i = at(100, 100);
    EXPECT_FLOAT_EQ(r.xyz[3 * i + 0], -109.75f);
    EXPECT_FLOAT_EQ(r.xyz[3 * i + 1], -69.75f);
    EXPECT_FLOAT_EQ(r.xyz[3 * i + 2], 989.025f);
    EXPECT_EQ(r.c16[i], 24726);                                                         // 989.025 / 0.04 = 24725.6
    EXPECT_EQ(scene_pixel(SceneConfig{640, 480, 0.0f, 0.0f}, 0, 100, 100).c16, 19781);  // no scale: 0.05
    EXPECT_EQ(r.conf[i], 120);
    EXPECT_EQ(r.mono[i], 44);

    // Sphere centre in frame 0: (W/4, H/2) = (160, 240), radius min(W,H)/6 = 80 px.
    i = at(160, 240);
    EXPECT_FLOAT_EQ(r.xyz[3 * i + 0], -79.75f);
    EXPECT_FLOAT_EQ(r.xyz[3 * i + 2], static_cast<float>(1000.0 - 7.975 - 40.0));
    EXPECT_EQ(r.conf[i], 255);
    // On the sphere 60 px right of the centre: Z drops by sqrt(80^2 - 60^2) * 0.5.
    i = at(220, 240);
    EXPECT_FLOAT_EQ(r.xyz[3 * i + 2],
                    static_cast<float>(1000.0 + 0.1 * (220 - 319.5) * 0.5 - std::sqrt(6400.0 - 3600.0) * 0.5));
    EXPECT_EQ(r.conf[i], 255 - (55 * 3600) / 6400);

    // Border band of 4 pixels, and the shadow right of the sphere:
    // 80 < u - 160 <= 120 and 2|v - 240| <= 80.
    for (auto [u, v] :
         {std::pair<uint32_t, uint32_t>{0, 0}, {3, 100}, {636, 100}, {100, 476}, {250, 240}, {241, 200}, {280, 280}}) {
        i = at(u, v);
        EXPECT_TRUE(std::isnan(r.xyz[3 * i + 2])) << u << "," << v;
        EXPECT_EQ(r.c16[i], 0) << u << "," << v;
        EXPECT_EQ(r.conf[i], 0) << u << "," << v;
    }
    for (auto [u, v] : {std::pair<uint32_t, uint32_t>{4, 100}, {635, 100}, {281, 240}, {250, 199}, {240, 240}}) {
        i = at(u, v);
        EXPECT_FALSE(std::isnan(r.xyz[3 * i + 2])) << u << "," << v;
        EXPECT_NE(r.conf[i], 0) << u << "," << v;
    }
    // Intensity is defined in invalid pixels too.
    EXPECT_EQ(r.mono[at(0, 0)], 0);
    EXPECT_EQ(r.mono[at(3, 100)], (3 + 200) % 256);
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
