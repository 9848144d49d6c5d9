// Files a 3D user opens at once: a frame's image parts and single images as
// PNG images (point clouds: point_clouds.h), each written whole under a
// temporary name and then renamed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ORNBase.h"

namespace ornctool {

// One part of a frame, copied out of the library's buffer during the
// image callback (the library's own record is valid only there).
struct FramePart {
    orn_pixel_t type = 0;
    int width = 0;
    int height = 0;
    std::vector<uint8_t> data;  // width * height * pixel size, rows without padding
    bool single = false;        // the whole payload of a single-image frame
};

constexpr orn_pixel_t kPixelCoord3D_C16 = 0x011000B8u;  // no image record size: its bytes come raw

// "range", "intensity", "confidence", or "part" for a format grab does not
// know how to show.
const char* part_role(orn_pixel_t type);
const char* pixel_format_name(orn_pixel_t type);

// Bytes per pixel of the formats write_png takes (Mono8, Confidence8,
// 8-bit Bayer: 1; Mono16, 16-bit Bayer: 2; RGB8: 3), 0 for any other.
int png_pixel_bytes(orn_pixel_t type);

// Writes a part as a PNG (libpng): grey for Mono and Confidence, the raw
// grey mosaic for Bayer (no demosaicing), colour for RGB8. False with
// `error` set for another format or an incomplete part.
bool write_png(const std::string& path, const FramePart& part, std::string* error);

// The name a file is written under before it is whole.
std::string temporary_name(const std::string& path);
// Renames `temporary` to `path` when `written`; removes it otherwise (or
// when the rename fails, with `error` set). Returns whether `path` is whole.
bool finish_file(const std::string& temporary, const std::string& path, bool written, std::string* error);

}  // namespace ornctool
