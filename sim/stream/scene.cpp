#include "scene.h"

#include <cmath>
#include <limits>

namespace ornsim {

namespace {

size_t pixel_count(const SceneConfig& config) {
    const uint64_t n = static_cast<uint64_t>(config.width) * config.height;
    if (n > std::numeric_limits<size_t>::max() / (3 * sizeof(float))) return 0;
    return static_cast<size_t>(n);
}

bool in_border(const SceneConfig& config, uint32_t u, uint32_t v) {
    return u < kSceneBorderPx || v < kSceneBorderPx || static_cast<uint64_t>(u) + kSceneBorderPx >= config.width ||
           static_cast<uint64_t>(v) + kSceneBorderPx >= config.height;
}

// The shadow the hemisphere casts to its right: a band half a radius wide and
// one radius high, centred on the sphere's row.
bool in_shadow(const SceneSphere& s, int64_t u, int64_t v) {
    const int64_t du = u - s.center_u;
    const int64_t dv = v - s.center_v;
    return du > s.radius && du <= s.radius + s.radius / 2 && 2 * (dv < 0 ? -dv : dv) <= s.radius;
}

uint16_t quantise_c16(const SceneConfig& config, float z_mm) {
    // A non-positive scale cannot represent anything; fall back to the default.
    const double scale = config.c16_scale_mm > 0.0f ? static_cast<double>(config.c16_scale_mm)
                                                    : static_cast<double>(kSceneDefaultC16ScaleMm);
    const double q = std::nearbyint((static_cast<double>(z_mm) - static_cast<double>(config.c16_offset_mm)) / scale);
    if (!(q >= 1.0)) return 1;  // 0 is reserved for "invalid"; NaN cannot reach here
    if (q > 65535.0) return 65535;
    return static_cast<uint16_t>(q);
}

}  // namespace

SceneSphere scene_sphere(const SceneConfig& config, uint64_t frame_id) {
    const uint64_t w = config.width;
    const uint64_t h = config.height;
    const uint64_t travel = w / 2 > 0 ? w / 2 : 1;
    SceneSphere s;
    s.center_u = static_cast<int64_t>(w / 4 + frame_id % travel);
    s.center_v = static_cast<int64_t>(h / 2);
    s.radius = static_cast<int64_t>((w < h ? w : h) / 6);
    return s;
}

ScenePixel scene_pixel(const SceneConfig& config, uint64_t frame_id, uint32_t u, uint32_t v) {
    ScenePixel p{};
    p.intensity = static_cast<uint8_t>((static_cast<uint64_t>(u) + 2ull * v + 3ull * (frame_id & 0xFF)) & 0xFF);

    const SceneSphere s = scene_sphere(config, frame_id);
    const int64_t du = static_cast<int64_t>(u) - s.center_u;
    const int64_t dv = static_cast<int64_t>(v) - s.center_v;
    const int64_t d2 = du * du + dv * dv;
    const int64_t r2 = s.radius * s.radius;

    p.valid = !in_border(config, u, v) && !in_shadow(s, u, v);
    if (!p.valid) {
        const float nan = std::numeric_limits<float>::quiet_NaN();
        p.x_mm = p.y_mm = p.z_mm = nan;
        return p;
    }

    const double x = (static_cast<double>(u) - (static_cast<double>(config.width) - 1.0) / 2.0) * kScenePixelPitchMm;
    const double y = (static_cast<double>(v) - (static_cast<double>(config.height) - 1.0) / 2.0) * kScenePixelPitchMm;
    double z = kScenePlaneDistanceMm + kScenePlaneTilt * x;
    p.on_sphere = d2 < r2;
    if (p.on_sphere) z -= std::sqrt(static_cast<double>(r2 - d2)) * kScenePixelPitchMm;

    p.x_mm = static_cast<float>(x);
    p.y_mm = static_cast<float>(y);
    p.z_mm = static_cast<float>(z);
    p.c16 = quantise_c16(config, p.z_mm);
    if (p.on_sphere) {
        p.confidence = static_cast<uint8_t>(255 - (55 * d2) / r2);
    } else {
        p.confidence = static_cast<uint8_t>(100 + (100ull * v) / config.height);
    }
    return p;
}

size_t scene_abc32f_size(const SceneConfig& config) { return pixel_count(config) * 3 * sizeof(float); }
size_t scene_c16_size(const SceneConfig& config) { return pixel_count(config) * sizeof(uint16_t); }
size_t scene_mono8_size(const SceneConfig& config) { return pixel_count(config); }

void render_range_abc32f(const SceneConfig& config, uint64_t frame_id, float* xyz) {
    if (xyz == nullptr || pixel_count(config) == 0) return;
    for (uint32_t v = 0; v < config.height; ++v) {
        for (uint32_t u = 0; u < config.width; ++u) {
            const ScenePixel p = scene_pixel(config, frame_id, u, v);
            *xyz++ = p.x_mm;
            *xyz++ = p.y_mm;
            *xyz++ = p.z_mm;
        }
    }
}

void render_range_c16(const SceneConfig& config, uint64_t frame_id, uint16_t* z) {
    if (z == nullptr || pixel_count(config) == 0) return;
    for (uint32_t v = 0; v < config.height; ++v)
        for (uint32_t u = 0; u < config.width; ++u) *z++ = scene_pixel(config, frame_id, u, v).c16;
}

void render_confidence8(const SceneConfig& config, uint64_t frame_id, uint8_t* conf) {
    if (conf == nullptr || pixel_count(config) == 0) return;
    for (uint32_t v = 0; v < config.height; ++v)
        for (uint32_t u = 0; u < config.width; ++u) *conf++ = scene_pixel(config, frame_id, u, v).confidence;
}

void render_intensity8(const SceneConfig& config, uint64_t frame_id, uint8_t* mono) {
    if (mono == nullptr || pixel_count(config) == 0) return;
    for (uint32_t v = 0; v < config.height; ++v)
        for (uint32_t u = 0; u < config.width; ++u) *mono++ = scene_pixel(config, frame_id, u, v).intensity;
}

}  // namespace ornsim
