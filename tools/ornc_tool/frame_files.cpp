#include "frame_files.h"

#include <png.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

namespace ornctool {

namespace {

bool is_gray8(const FramePart& part) {
    return part.width > 0 && part.height > 0 &&
           part.data.size() >= static_cast<size_t>(part.width) * static_cast<size_t>(part.height);
}

bool same_size(const FramePart* part, const FramePart& range) {
    return part != nullptr && part->width == range.width && part->height == range.height && is_gray8(*part);
}

struct FileCloser {
    void operator()(FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, FileCloser>;

void put_float_le(std::vector<uint8_t>* out, float value) {
    uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    for (int i = 0; i < 4; ++i) out->push_back(static_cast<uint8_t>(bits >> (8 * i)));
}

// The formats grab names, with the role a part in that format plays.
struct KnownFormat {
    orn_pixel_t type;
    const char* name;
    const char* role;
};

constexpr KnownFormat kKnownFormats[] = {
    {ORN_PIX_ABC32F, "Coord3D_ABC32f", "range"},
    {ORN_PIX_MONO8, "Mono8", "intensity"},
    {ORN_PIX_CONF8, "Confidence8", "confidence"},
    {ORN_PIX_MONO16, "Mono16", "part"},
    {ORN_PIX_MONO32F, "Coord3D_C32f", "part"},
    {ORN_PIX_AC32F, "Coord3D_AC32f", "part"},
    {ORN_PIX_RGB8, "RGB8", "part"},
    {ORN_PIX_GENERIC, "unknown", "part"},
};

const KnownFormat* known_format(orn_pixel_t type) {
    for (const KnownFormat& format : kKnownFormats) {
        if (format.type == type) return &format;
    }
    return nullptr;
}

}  // namespace

const char* part_role(orn_pixel_t type) {
    const KnownFormat* format = known_format(type);
    return format != nullptr ? format->role : "part";
}

const char* pixel_format_name(orn_pixel_t type) {
    const KnownFormat* format = known_format(type);
    return format != nullptr ? format->name : "other";
}

long write_point_cloud_ply(const std::string& path, const FramePart& range, const FramePart* intensity,
                           const FramePart* confidence, const std::string& comment, std::string* error) {
    const size_t pixels = static_cast<size_t>(range.width) * static_cast<size_t>(range.height);
    if (range.type != ORN_PIX_ABC32F || range.width <= 0 || range.height <= 0 || range.data.size() < pixels * 12) {
        *error = "the range part is not a complete Coord3D_ABC32f image";
        return -1;
    }
    const bool with_colour = same_size(intensity, range);
    const bool with_confidence = same_size(confidence, range);

    std::vector<uint8_t> body;
    body.reserve(pixels * 16);
    long points = 0;
    for (size_t i = 0; i < pixels; ++i) {
        float xyz[3];
        std::memcpy(xyz, &range.data[i * 12], sizeof xyz);
        if (std::isnan(xyz[0]) || std::isnan(xyz[1]) || std::isnan(xyz[2])) continue;
        for (float v : xyz) put_float_le(&body, v);
        if (with_colour) {
            const uint8_t grey = intensity->data[i];
            body.insert(body.end(), {grey, grey, grey});
        }
        if (with_confidence) body.push_back(confidence->data[i]);
        ++points;
    }

    std::string header = "ply\nformat binary_little_endian 1.0\n";
    if (!comment.empty()) header += "comment " + comment + "\n";
    header += "comment coordinates in millimetres; pixels without a valid point are left out\n";
    header += "element vertex " + std::to_string(points) + "\n";
    header += "property float x\nproperty float y\nproperty float z\n";
    if (with_colour) header += "property uchar red\nproperty uchar green\nproperty uchar blue\n";
    if (with_confidence) header += "property uchar confidence\n";
    header += "end_header\n";

    File file(std::fopen(path.c_str(), "wb"));
    if (!file) {
        *error = "cannot create " + path + ": " + std::strerror(errno);
        return -1;
    }
    if (std::fwrite(header.data(), 1, header.size(), file.get()) != header.size() ||
        std::fwrite(body.data(), 1, body.size(), file.get()) != body.size()) {
        *error = "cannot write " + path + ": " + std::strerror(errno);
        return -1;
    }
    return points;
}

int png_pixel_bytes(orn_pixel_t type) {
    switch (type) {
        case ORN_PIX_MONO8:
        case ORN_PIX_CONF8:
        case 0x01080008u:  // BayerGR8
        case 0x01080009u:  // BayerRG8
        case 0x0108000Au:  // BayerGB8
        case 0x0108000Bu:  // BayerBG8
            return 1;
        case ORN_PIX_MONO16:
        case 0x0110002Eu:  // BayerGR16
        case 0x0110002Fu:  // BayerRG16
        case 0x01100030u:  // BayerGB16
        case 0x01100031u:  // BayerBG16
            return 2;
        case ORN_PIX_RGB8:
            return 3;
        default:
            break;
    }
    return 0;
}

bool write_png(const std::string& path, const FramePart& part, std::string* error) {
    const int bytes = png_pixel_bytes(part.type);
    const size_t row_bytes = static_cast<size_t>(part.width) * static_cast<size_t>(bytes);
    if (bytes == 0) {
        char code[16];
        std::snprintf(code, sizeof code, "0x%08x", static_cast<unsigned>(part.type));
        *error = std::string("no PNG form for pixel format ") + pixel_format_name(part.type) + " (" + code + ")";
        return false;
    }
    if (part.width <= 0 || part.height <= 0 || part.data.size() < row_bytes * static_cast<size_t>(part.height)) {
        *error = "the part is not a complete image";
        return false;
    }
    // PNG holds 16-bit samples big-endian; the device sends them little-endian.
    std::vector<uint8_t> pixels(part.data.begin(), part.data.begin() + row_bytes * static_cast<size_t>(part.height));
    if (bytes == 2) {
        for (size_t i = 0; i + 1 < pixels.size(); i += 2) std::swap(pixels[i], pixels[i + 1]);
    }
    File file(std::fopen(path.c_str(), "wb"));
    if (!file) {
        *error = "cannot create " + path + ": " + std::strerror(errno);
        return false;
    }
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    if (png == nullptr || info == nullptr) {
        png_destroy_write_struct(&png, nullptr);
        *error = "libpng: out of memory";
        return false;
    }
    // libpng reports its errors by longjmp: nothing with a destructor may
    // be created between here and the end of the writes.
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        *error = "libpng failed to write " + path;
        return false;
    }
    // Locals from before setjmp are not read after it (they could be clobbered).
    const int depth = png_pixel_bytes(part.type);
    const size_t stride = static_cast<size_t>(part.width) * static_cast<size_t>(depth);
    png_init_io(png, file.get());
    png_set_IHDR(png, info, static_cast<png_uint_32>(part.width), static_cast<png_uint_32>(part.height),
                 depth == 2 ? 16 : 8, depth == 3 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int row = 0; row < part.height; ++row) png_write_row(png, &pixels[static_cast<size_t>(row) * stride]);
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return true;
}

}  // namespace ornctool
