// Images as the library delivers them, compared with the scene the
// virtual sensor renders (whose formulas tests/python checks): byte for byte,
// through the sensor's own renderer.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ORNC.h"

namespace orntest {

// One image as received, copied out of the stream buffer (the library's
// data is only valid during the callback).
struct ImageCopy {
    bool empty = true;  // the record had no data
    int width = 0, height = 0, pixelsize = 0;
    orn_pixel_t type = 0;
    std::vector<uint8_t> bytes;
};
ImageCopy copy_of(const orn_image_t& image);

// The frame number modulo 256 that a Mono8 intensity part shows (the
// pixel (0, 0) holds 3 f mod 256).
uint64_t frame_from_intensity(const ImageCopy& intensity);

// "" when the part (Coord3D_ABC32f, Mono8 or Confidence8) holds exactly the
// bytes the sensor renders for frame `f`, else the first difference.
std::string check_part(const ImageCopy& part, uint64_t f);
// A Coord3D_ABC32f image that matches the scene for some frame number
// (the sphere's place gives the frame modulo W/2); "" when one matches.
std::string check_range_any_frame(const ImageCopy& range);

}  // namespace orntest
