#include "scene_check.h"

#include <algorithm>

#include "scene.h"

namespace orntest {

ImageCopy copy_of(const orn_image_t& image) {
    ImageCopy copy;
    copy.width = image.width;
    copy.height = image.height;
    copy.pixelsize = image.pixelsize;
    copy.type = image.type;
    copy.empty = image.data == nullptr;
    if (!copy.empty && image.width > 0 && image.height > 0 && image.pixelsize > 0) {
        const size_t size =
            static_cast<size_t>(image.width) * static_cast<size_t>(image.height) * static_cast<size_t>(image.pixelsize);
        const uint8_t* data = static_cast<const uint8_t*>(image.data);
        copy.bytes.assign(data, data + size);
    }
    return copy;
}

uint64_t frame_from_intensity(const ImageCopy& intensity) {
    if (intensity.bytes.empty()) return 0;
    return (171u * intensity.bytes[0]) % 256u;  // 171 is the inverse of 3 modulo 256
}

std::string check_part(const ImageCopy& part, uint64_t f) {
    if (part.empty || part.bytes.empty()) return "empty image";
    const ornsim::SceneConfig scene{static_cast<uint32_t>(part.width), static_cast<uint32_t>(part.height),
                                    ornsim::kSceneDefaultC16ScaleMm, ornsim::kSceneDefaultC16OffsetMm};
    std::vector<uint8_t> expected;
    if (part.type == ORN_PIX_ABC32F) {
        expected.resize(ornsim::scene_abc32f_size(scene));
        ornsim::render_range_abc32f(scene, f, reinterpret_cast<float*>(expected.data()));
    } else if (part.type == ORN_PIX_MONO8 || part.type == ORN_PIX_CONF8) {
        expected.resize(ornsim::scene_mono8_size(scene));
        if (part.type == ORN_PIX_MONO8) ornsim::render_intensity8(scene, f, expected.data());
        if (part.type == ORN_PIX_CONF8) ornsim::render_confidence8(scene, f, expected.data());
    } else {
        return "pixel type " + std::to_string(part.type);
    }
    // The copy holds width x height x pixel size bytes.
    if (part.bytes.size() != expected.size()) {
        return "pixel size " + std::to_string(part.pixelsize) + ": " + std::to_string(part.bytes.size()) + " bytes";
    }
    const auto differ = std::mismatch(part.bytes.begin(), part.bytes.end(), expected.begin());
    if (differ.first == part.bytes.end()) return "";
    const size_t pixel = static_cast<size_t>(differ.first - part.bytes.begin()) / part.pixelsize;
    return "byte " + std::to_string(*differ.first) + " not " + std::to_string(*differ.second) + " at (" +
           std::to_string(pixel % part.width) + ", " + std::to_string(pixel / part.width) + ")";
}

std::string check_range_any_frame(const ImageCopy& range) {
    const uint64_t period = static_cast<uint64_t>(std::max(1, range.width / 2));
    std::string first_problem;
    for (uint64_t f = 0; f < period; ++f) {
        std::string problem = check_part(range, f);
        if (problem.empty()) return "";
        if (first_problem.empty()) first_problem = problem;
    }
    return "no frame number matches; frame 0: " + first_problem;
}

}  // namespace orntest
