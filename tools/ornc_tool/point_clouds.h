// A frame's range part as a point cloud in millimetres, and the three file
// forms grab writes it in: binary PLY, binary PCD and XYZ text.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ORNCExt.h"
#include "frame_files.h"

namespace ornctool {

enum class CloudFormat { ply, pcd, xyz };

// "ply", "pcd" or "xyz"; false for another name.
bool parse_cloud_format(const std::string& name, CloudFormat* format);
const char* cloud_extension(CloudFormat format);

// How an integer range part (Coord3D_C16) becomes millimetres: coordinate
// = value * scale + offset for A (x), B (y) and C (z), where A and B come
// from the pixel's column and row; `ab_calibrated` false means the device
// gave no scale for them, so x and y stay the column and row. A C value
// equal to `invalid` (when `has_invalid`) marks a pixel without a
// measurement. Float coordinates are millimetres as they come, NaN invalid.
struct RangeCalibration {
    double scale[3] = {1.0, 1.0, 1.0};
    double offset[3] = {0.0, 0.0, 0.0};
    bool ab_calibrated = false;
    bool has_invalid = false;
    double invalid = 0.0;
};

// Inside an image callback of `ornc`: fills `part` with the bytes of part
// `index` of the frame being delivered when that part is in a range format
// the image records leave empty (Coord3D_C16). False otherwise.
bool copy_raw_part(const ornc_t* ornc, uint32_t index, FramePart* part);

// Bytes per pixel of the range formats grab turns into points
// (Coord3D_ABC32f 12, Coord3D_C16 2), 0 for any other.
int range_pixel_bytes(uint32_t pixel_format);

struct PointCloud {
    int width = 0;   // the sensor's grid when organized, else the number of points
    int height = 0;  // 1 when not organized
    bool xy_in_pixels = false;
    std::vector<float> xyz;                 // 3 per point; NaN for an invalid point of an organized cloud
    std::vector<uint8_t> grey, confidence;  // one per point, or empty when the frame had no such part
    long valid = 0;
    size_t size() const { return xyz.size() / 3; }
};

// The points of `range` (Coord3D_ABC32f or Coord3D_C16), with intensity
// (Mono8) and confidence (Confidence8) when those parts are given and match
// its size. Organized: every pixel in grid order, invalid ones as NaN;
// otherwise only the valid points. False with `error` set for another
// format or an incomplete part.
bool make_point_cloud(const FramePart& range, const RangeCalibration& calibration, const FramePart* intensity,
                      const FramePart* confidence, bool organized, PointCloud* cloud, std::string* error);

// Writes the cloud whole under a temporary name beside `path`, then
// renames it: `path` never holds a partial cloud. PLY binary little
// endian (x y z float, red green blue uchar as grey, confidence uchar);
// PCD binary as PCL writes it (x y z intensity float, confidence uchar);
// XYZ one "x y z" line per point.
bool write_point_cloud(const std::string& path, CloudFormat format, const PointCloud& cloud, const std::string& comment,
                       std::string* error);

}  // namespace ornctool
