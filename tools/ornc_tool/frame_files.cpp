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

struct FileCloser {
    void operator()(FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, FileCloser>;

// The formats grab names, with the role a part in that format plays.
struct KnownFormat {
    orn_pixel_t type;
    const char* name;
    const char* role;
};

constexpr KnownFormat kKnownFormats[] = {
    {ORN_PIX_ABC32F, "Coord3D_ABC32f", "range"}, {kPixelCoord3D_C16, "Coord3D_C16", "range"},
    {ORN_PIX_MONO8, "Mono8", "intensity"},       {ORN_PIX_CONF8, "Confidence8", "confidence"},
    {ORN_PIX_MONO16, "Mono16", "part"},          {ORN_PIX_MONO32F, "Coord3D_C32f", "part"},
    {ORN_PIX_AC32F, "Coord3D_AC32f", "part"},    {ORN_PIX_RGB8, "RGB8", "part"},
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

namespace {

bool write_png_file(const std::string& path, const FramePart& part, std::string* error) {
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

}  // namespace

bool write_png(const std::string& path, const FramePart& part, std::string* error) {
    const std::string temporary = temporary_name(path);
    return finish_file(temporary, path, write_png_file(temporary, part, error), error);
}

std::string temporary_name(const std::string& path) { return path + ".partial"; }

bool finish_file(const std::string& temporary, const std::string& path, bool written, std::string* error) {
    if (written && std::rename(temporary.c_str(), path.c_str()) != 0) {
        *error = "cannot rename " + temporary + " to " + path + ": " + std::strerror(errno);
        written = false;
    }
    if (!written) std::remove(temporary.c_str());
    return written;
}

}  // namespace ornctool
