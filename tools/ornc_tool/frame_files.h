// Files a 3D user opens at once: a frame's range part as a binary PLY point
// cloud, its image parts and single images as PNG images.
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

// "range", "intensity", "confidence", or "part" for a format grab does not
// know how to show.
const char* part_role(orn_pixel_t type);
const char* pixel_format_name(orn_pixel_t type);

// Writes `range` (Coord3D_ABC32f, millimetres) as a binary little-endian
// PLY: one vertex per valid pixel (pixels with a NaN coordinate are left
// out), coloured by `intensity` (Mono8, grey) and carrying `confidence`
// (Confidence8) as a uchar property when those parts are given and match
// the range part's size. Returns the number of points written, or -1 with
// `error` set.
long write_point_cloud_ply(const std::string& path, const FramePart& range, const FramePart* intensity,
                           const FramePart* confidence, const std::string& comment, std::string* error);

// Bytes per pixel of the formats write_png takes (Mono8, Confidence8,
// 8-bit Bayer: 1; Mono16, 16-bit Bayer: 2; RGB8: 3), 0 for any other.
int png_pixel_bytes(orn_pixel_t type);

// Writes a part as a PNG (libpng): grey for Mono and Confidence, the raw
// grey mosaic for Bayer (no demosaicing), colour for RGB8. False with
// `error` set for another format or an incomplete part.
bool write_png(const std::string& path, const FramePart& part, std::string* error);

}  // namespace ornctool
