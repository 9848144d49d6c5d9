// Files a 3D user opens at once: a frame's range part as a binary PLY point
// cloud, its 8-bit parts as PNG images.
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

// Writes an 8-bit single-channel part as a greyscale PNG (libpng).
bool write_gray8_png(const std::string& path, const FramePart& part, std::string* error);

}  // namespace ornctool
