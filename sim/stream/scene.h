// The virtual sensor's synthetic scene: a tilted plane with a hemisphere that
// moves one pixel per frame, seen as calibrated X/Y/Z (millimetres), as
// quantised Z, as a confidence map and as an intensity image.
//
// Every value is a closed formula of (width, height, frame id, u, v), written
// out in sim/stream/README.md so that any test can recompute any pixel. The
// functions are pure: same inputs, same bytes, on every run and every thread.
//
// Buffers are owned by the caller and must hold width*height elements
// (render_range_abc32f: 3*width*height floats, X Y Z interleaved per pixel,
// row-major). A null buffer or a zero width/height renders nothing.
#ifndef ORNSIM_STREAM_SCENE_H
#define ORNSIM_STREAM_SCENE_H

#include <cstddef>
#include <cstdint>

namespace ornsim {

struct SceneConfig {
    uint32_t width, height;
    float c16_scale_mm, c16_offset_mm;
};  // Coord3D_C16: z_mm = value*scale + offset

void render_range_abc32f(const SceneConfig&, uint64_t frame_id, float* xyz);    // 3 floats per pixel, mm, NaN = invalid
void render_range_c16(const SceneConfig&, uint64_t frame_id, uint16_t* z);      // 0 = invalid
void render_confidence8(const SceneConfig&, uint64_t frame_id, uint8_t* conf);  // 0 where invalid
void render_intensity8(const SceneConfig&, uint64_t frame_id, uint8_t* mono);

// Scene constants (see README for their role in the formulas).
constexpr double kScenePixelPitchMm = 0.5;  // lateral size of one pixel on the plane
constexpr double kScenePlaneDistanceMm = 1000.0;
constexpr double kScenePlaneTilt = 0.1;  // dZ/dX of the plane
constexpr uint32_t kSceneBorderPx = 4;   // invalid band along every edge
constexpr float kSceneDefaultC16ScaleMm = 0.05f;
constexpr float kSceneDefaultC16OffsetMm = 0.0f;

// One pixel of the scene, every representation at once. The render functions
// above are loops over this.
struct ScenePixel {
    bool valid;
    bool on_sphere;
    float x_mm, y_mm, z_mm;  // NaN when invalid
    uint16_t c16;            // 0 when invalid
    uint8_t confidence;      // 0 when invalid
    uint8_t intensity;       // defined everywhere
};
ScenePixel scene_pixel(const SceneConfig& config, uint64_t frame_id, uint32_t u, uint32_t v);

// Hemisphere geometry for a frame, in pixels.
struct SceneSphere {
    int64_t center_u, center_v, radius;
};
SceneSphere scene_sphere(const SceneConfig& config, uint64_t frame_id);

// Buffer sizes in bytes of each rendering, 0 if width*height overflows.
size_t scene_abc32f_size(const SceneConfig& config);
size_t scene_c16_size(const SceneConfig& config);
size_t scene_mono8_size(const SceneConfig& config);

}  // namespace ornsim

#endif  // ORNSIM_STREAM_SCENE_H
