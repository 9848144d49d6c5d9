#include "point_clouds.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

namespace ornctool {

namespace {

bool matches(const FramePart* part, const FramePart& range) {
    return part != nullptr && part->width == range.width && part->height == range.height &&
           part->data.size() >= static_cast<size_t>(range.width) * static_cast<size_t>(range.height);
}

void put_float(std::string* out, float value) {
    uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    for (int i = 0; i < 4; ++i) out->push_back(static_cast<char>(bits >> (8 * i)));  // little endian
}

std::string ply_text(const PointCloud& cloud, const std::string& comment) {
    const bool grey = !cloud.grey.empty();
    const bool confidence = !cloud.confidence.empty();
    std::string out = "ply\nformat binary_little_endian 1.0\n";
    if (!comment.empty()) out += "comment " + comment + "\n";
    if (cloud.height > 1) {  // the grid, as PCL reads an organized cloud back
        out += "obj_info num_cols " + std::to_string(cloud.width) + "\nobj_info num_rows " +
               std::to_string(cloud.height) + "\n";
    }
    out += "element vertex " + std::to_string(cloud.size()) + "\n";
    out += "property float x\nproperty float y\nproperty float z\n";
    if (grey) out += "property uchar red\nproperty uchar green\nproperty uchar blue\n";
    if (confidence) out += "property uchar confidence\n";
    out += "end_header\n";
    for (size_t i = 0; i < cloud.size(); ++i) {
        for (int axis = 0; axis < 3; ++axis) put_float(&out, cloud.xyz[i * 3 + axis]);
        if (grey) out.append(3, static_cast<char>(cloud.grey[i]));
        if (confidence) out.push_back(static_cast<char>(cloud.confidence[i]));
    }
    return out;
}

std::string pcd_text(const PointCloud& cloud, const std::string& comment) {
    const bool grey = !cloud.grey.empty();
    const bool confidence = !cloud.confidence.empty();
    std::string out = "# .PCD v0.7 - Point Cloud Data file format\n";
    if (!comment.empty()) out += "# " + comment + "\n";
    out += "VERSION 0.7\nFIELDS x y z";
    out += std::string(grey ? " intensity" : "") + (confidence ? " confidence" : "") + "\nSIZE 4 4 4";
    out += std::string(grey ? " 4" : "") + (confidence ? " 1" : "") + "\nTYPE F F F";
    out += std::string(grey ? " F" : "") + (confidence ? " U" : "") + "\nCOUNT 1 1 1";
    out += std::string(grey ? " 1" : "") + (confidence ? " 1" : "") + "\n";
    out += "WIDTH " + std::to_string(cloud.width) + "\nHEIGHT " + std::to_string(cloud.height) +
           "\nVIEWPOINT 0 0 0 1 0 0 0\nPOINTS " + std::to_string(cloud.size()) + "\nDATA binary\n";
    for (size_t i = 0; i < cloud.size(); ++i) {
        for (int axis = 0; axis < 3; ++axis) put_float(&out, cloud.xyz[i * 3 + axis]);
        if (grey) put_float(&out, static_cast<float>(cloud.grey[i]));
        if (confidence) out.push_back(static_cast<char>(cloud.confidence[i]));
    }
    return out;
}

std::string xyz_text(const PointCloud& cloud) {
    std::string out;
    char line[96];
    for (size_t i = 0; i < cloud.size(); ++i) {
        const float* p = &cloud.xyz[i * 3];
        std::snprintf(line, sizeof line, "%.9g %.9g %.9g\n", static_cast<double>(p[0]), static_cast<double>(p[1]),
                      static_cast<double>(p[2]));
        out += line;
    }
    return out;
}

}  // namespace

// In the order of CloudFormat.
constexpr const char* kCloudExtensions[] = {"ply", "pcd", "xyz"};

bool parse_cloud_format(const std::string& name, CloudFormat* format) {
    for (int i = 0; i < 3; ++i) {
        if (name != kCloudExtensions[i]) continue;
        *format = static_cast<CloudFormat>(i);
        return true;
    }
    return false;
}

const char* cloud_extension(CloudFormat format) { return kCloudExtensions[static_cast<int>(format)]; }

int range_pixel_bytes(uint32_t pixel_format) {
    if (pixel_format == ORN_PIX_ABC32F) return 12;
    return pixel_format == kPixelCoord3D_C16 ? 2 : 0;
}

bool copy_raw_part(const ornc_t* ornc, uint32_t index, FramePart* part) {
    ornc_frame_info_t info{};
    const void* data = nullptr;
    size_t size = 0;
    if (ORNCGetFrameInfo(ornc, &info) != ORNC_OK || index >= info.part_count || index >= ORNC_FRAME_MAX_PARTS) {
        return false;
    }
    const ornc_part_info_t& described = info.part[index];
    const size_t bytes =
        static_cast<size_t>(range_pixel_bytes(described.pixel_format)) * described.width * described.height;
    if (bytes == 0 || described.pixel_format == ORN_PIX_ABC32F ||
        ORNCGetFramePartData(ornc, index, &data, &size) != ORNC_OK || size < bytes) {
        return false;
    }
    part->type = described.pixel_format;
    part->width = static_cast<int>(described.width);
    part->height = static_cast<int>(described.height);
    part->data.assign(static_cast<const uint8_t*>(data), static_cast<const uint8_t*>(data) + bytes);
    return true;
}

bool make_point_cloud(const FramePart& range, const RangeCalibration& calibration, const FramePart* intensity,
                      const FramePart* confidence, bool organized, PointCloud* cloud, std::string* error) {
    const int bytes = range_pixel_bytes(range.type);
    const size_t pixels = static_cast<size_t>(range.width) * static_cast<size_t>(range.height);
    if (bytes == 0 || range.width <= 0 || range.height <= 0 ||
        range.data.size() < pixels * static_cast<size_t>(bytes)) {
        *error = "the range part is not a complete Coord3D_ABC32f or Coord3D_C16 image";
        return false;
    }
    const bool with_grey = matches(intensity, range);
    const bool with_confidence = matches(confidence, range);
    const bool c_only = range.type == kPixelCoord3D_C16;
    *cloud = PointCloud();
    cloud->xy_in_pixels = c_only && !calibration.ab_calibrated;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (size_t i = 0; i < pixels; ++i) {
        double value[3] = {static_cast<double>(i % static_cast<size_t>(range.width)),
                           static_cast<double>(i / static_cast<size_t>(range.width)), 0.0};
        if (c_only) {
            value[2] = range.data[i * 2] | (range.data[i * 2 + 1] << 8);
        } else {
            float abc[3];
            std::memcpy(abc, &range.data[i * 12], sizeof abc);
            for (int axis = 0; axis < 3; ++axis) value[axis] = abc[axis];
        }
        const bool valid = c_only ? !(calibration.has_invalid && value[2] == calibration.invalid)
                                  : !std::isnan(value[0]) && !std::isnan(value[1]) && !std::isnan(value[2]);
        if (!valid && !organized) continue;
        for (int axis = 0; axis < 3; ++axis) {
            const bool apply = c_only && (axis == 2 || calibration.ab_calibrated);
            const double mm = apply ? value[axis] * calibration.scale[axis] + calibration.offset[axis] : value[axis];
            cloud->xyz.push_back(valid ? static_cast<float>(mm) : nan);
        }
        if (with_grey) cloud->grey.push_back(intensity->data[i]);
        if (with_confidence) cloud->confidence.push_back(confidence->data[i]);
        cloud->valid += valid ? 1 : 0;
    }
    cloud->width = organized ? range.width : static_cast<int>(cloud->size());
    cloud->height = organized ? range.height : 1;
    return true;
}

bool write_point_cloud(const std::string& path, CloudFormat format, const PointCloud& cloud, const std::string& comment,
                       std::string* error) {
    std::string note = comment + (comment.empty() ? "" : "; ") + "millimetres";
    if (cloud.xy_in_pixels) note += " in z, x and y the pixel column and row";
    const std::string text = format == CloudFormat::ply   ? ply_text(cloud, note)
                             : format == CloudFormat::pcd ? pcd_text(cloud, note)
                                                          : xyz_text(cloud);
    const std::string temporary = temporary_name(path);
    FILE* file = std::fopen(temporary.c_str(), "wb");
    if (file == nullptr) {
        *error = "cannot create " + temporary + ": " + std::strerror(errno);
        return false;
    }
    bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    written = std::fclose(file) == 0 && written;
    if (!written) *error = "cannot write " + temporary + ": " + std::strerror(errno);
    return finish_file(temporary, path, written, error);
}

}  // namespace ornctool
