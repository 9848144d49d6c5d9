// Image records, image vectors, pixel types, limits and string copies.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "ORNBase.h"

namespace {

TEST(PixelTypes, SizesOfKnownAndUnknownCodes) {
    const std::pair<orn_pixel_t, int> known[] = {{ORN_PIX_CONF8, 1},   {ORN_PIX_MONO8, 1},  {ORN_PIX_MONO16, 2},
                                                 {ORN_PIX_MONO32F, 4}, {ORN_PIX_RGB8, 3},   {ORN_PIX_RGBA8, 4},
                                                 {ORN_PIX_RGB16, 6},   {ORN_PIX_RGBA16, 8}, {ORN_PIX_ABC32F, 12},
                                                 {ORN_PIX_C32F, 4},    {ORN_PIX_AC32F, 8},  {ORN_PIX_MONO12, 2}};
    for (const auto& k : known) {
        EXPECT_EQ(ORNPixelTypeGetSize(k.first), k.second) << std::hex << k.first;
        EXPECT_EQ(ORN_GetPixelSize(k.first), k.second);
    }
    EXPECT_EQ(ORNPixelTypeGetSize(ORN_PIX_GENERIC), 0);
    EXPECT_EQ(ORNPixelTypeGetSize(0x01080002u), 0);  // valid-looking, but not listed
    EXPECT_EQ(ORNPixelTypeGetSize(0x011000B8u), 0);  // Coord3D_C16 is not an image type here
}

TEST(Images, OwnedBufferLifecycle) {
    orn_image_t image;
    ASSERT_EQ(ORNImageInit(&image, 640, 480, ORN_PIX_MONO16), ORN_OK);
    EXPECT_EQ(std::tie(image.width, image.height, image.pixelsize, image.dontfree), std::make_tuple(640, 480, 2, 0));
    EXPECT_EQ(std::memcmp(image.data, std::vector<uint8_t>(614400, 0).data(), 614400), 0);  // all bytes zero-filled

    void* before = image.data;
    EXPECT_EQ(ORNImageResize(&image, 480, 640), ORN_OK);  // same pixel count: buffer kept
    EXPECT_EQ(std::tie(image.data, image.width), std::make_tuple(before, 480));

    ASSERT_EQ(ORNImageResize(&image, 32, 16), ORN_OK);  // reallocated, zero-filled
    EXPECT_EQ(image.width, 32);
    std::memset(image.data, 0xAB, 32 * 16 * 2);  // the whole new buffer is usable

    ORNImageDestroy(&image);
    EXPECT_EQ(std::tie(image.data, image.type), std::make_tuple(nullptr, ORN_PIX_GENERIC));
    ORNImageDestroy(&image);  // a second destroy is harmless
}

TEST(Images, BorrowedBufferIsNeverFreedOrReallocated) {
    std::vector<uint8_t> pixels(640 * 480, 7);
    orn_image_t image;
    ASSERT_EQ(ORNImageInitData(&image, 640, 480, ORN_PIX_MONO8, pixels.data()), ORN_OK);
    EXPECT_EQ(ORNImageResize(&image, 480, 640), ORN_OK);
    EXPECT_EQ(ORNImageResize(&image, 320, 240), ORN_ERROR);
    EXPECT_EQ(std::tie(image.data, image.width), std::make_tuple(pixels.data(), 480));
    ORNImageDestroy(&image);  // empties the record, leaves the vector's memory alone
    EXPECT_EQ(image.data, nullptr);
    EXPECT_EQ(pixels[0], 7);

    ASSERT_EQ(ORNImageInitData(&image, 2, 2, ORN_PIX_MONO8, nullptr), ORN_OK);
    EXPECT_EQ(image.dontfree, 0);
}

TEST(Images, InvalidArguments) {
    orn_image_t image;
    EXPECT_EQ(ORNImageInitData(&image, -1, 4, ORN_PIX_MONO8, nullptr), ORN_ERROR);
    EXPECT_EQ(image.type, ORN_PIX_GENERIC);
    EXPECT_EQ(ORNImageInitData(&image, 4, 4, 0x01080002u, nullptr), ORN_ERROR);
    EXPECT_EQ(ORNImageInitData(&image, 0, 0, ORN_PIX_MONO8, nullptr), ORN_OK);  // zero is accepted
    EXPECT_EQ(ORNImageInitData(nullptr, 1, 1, ORN_PIX_MONO8, nullptr), ORN_ERROR);

    // Init does not surface its parameter checks: an unknown type yields an
    // empty record that still owns a valid (empty) buffer.
    EXPECT_EQ(ORNImageInit(&image, 4, 4, 0x01080002u), ORN_OK);
    EXPECT_EQ(std::tie(image.type, image.pixelsize), std::make_tuple(ORN_PIX_GENERIC, 0));
    ORNImageDestroy(&image);
    EXPECT_EQ(image.data, nullptr);

    EXPECT_EQ(ORNImageInit(&image, 1 << 30, 1 << 30, ORN_PIX_ABC32F), ORN_ERR_OUT_OF_MEMORY);
    EXPECT_EQ(std::tie(image.data, image.width), std::make_tuple(nullptr, 0));

    ORNImageInitEmpty(&image);
    EXPECT_EQ(ORNImageResize(&image, 2, 2), ORN_ERR_UNINITIALIZED);
    EXPECT_EQ(ORNImageResize(nullptr, 2, 2), ORN_ERR_UNINITIALIZED);
    ORNImageInitEmpty(nullptr);
    ORNImageDestroy(nullptr);
}

TEST(ImageVectors, InitAndDestroy) {
    orn_image_vec_t vec;
    EXPECT_EQ(ORNImageVecInit(&vec, 0), ORN_OK);
    EXPECT_EQ(std::tie(vec.image, vec.allocated), std::make_tuple(nullptr, 0));
    EXPECT_EQ(ORNImageVecInit(&vec, -1), ORN_ERR_OUT_OF_RANGE);
    EXPECT_EQ(vec.image, nullptr);

    ASSERT_EQ(ORNImageVecInit(&vec, 3), ORN_OK);
    EXPECT_EQ(std::tie(vec.allocated, vec.used), std::make_tuple(3, 0));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(vec.image[i].data, nullptr);
    // The producer fills records; destroy releases the first `used` of them
    // (LeakSanitizer builds would report anything left behind).
    ASSERT_EQ(ORNImageInit(&vec.image[0], 8, 8, ORN_PIX_ABC32F), ORN_OK);
    ASSERT_EQ(ORNImageInit(&vec.image[1], 8, 8, ORN_PIX_CONF8), ORN_OK);
    vec.used = 2;
    EXPECT_EQ(ORNImageVecDestroy(&vec), ORN_OK);
    EXPECT_EQ(std::tie(vec.image, vec.used), std::make_tuple(nullptr, 0));
    EXPECT_EQ(ORNImageVecDestroy(&vec), ORN_OK);
    EXPECT_EQ(ORNImageVecDestroy(nullptr), ORN_OK);
}

TEST(ImageVectors, ResizeKeepsItsEstablishedContractAndZeroEmptiesWithoutFreeing) {
    orn_image_vec_t vec;
    ASSERT_EQ(ORNImageVecInit(&vec, 4), ORN_OK);
    ASSERT_EQ(ORNImageInit(&vec.image[2], 4, 4, ORN_PIX_MONO8), ORN_OK);
    ASSERT_EQ(ORNImageInit(&vec.image[3], 4, 4, ORN_PIX_MONO8), ORN_OK);
    void* kept = vec.image[2].data;
    vec.used = 1;

    EXPECT_EQ(ORNImageVecResize(&vec, 4), ORN_OK);  // same size: nothing happens
    EXPECT_EQ(vec.image[3].type, ORN_PIX_MONO8);

    // Shrinking to 2 destroys index 3 only (index 2 is left to the caller)
    // and resizes the array to 2 bytes; `used` stays.
    ASSERT_EQ(ORNImageVecResize(&vec, 2), ORN_OK);
    EXPECT_EQ(std::tie(vec.allocated, vec.used), std::make_tuple(2, 1));
    std::free(kept);  // still owned by us: a double free would abort here

    orn_image_t* array = vec.image;
    EXPECT_EQ(ORNImageVecResize(&vec, -2), ORN_ERR_OUT_OF_RANGE);
    EXPECT_EQ(vec.image, nullptr);  // emptied without freeing: the array is still ours
    std::free(array);

    ASSERT_EQ(ORNImageVecInit(&vec, 2), ORN_OK);
    array = vec.image;
    EXPECT_EQ(ORNImageVecResize(&vec, 0), ORN_OK);  // zero empties the same way
    EXPECT_EQ(std::tie(vec.image, vec.allocated), std::make_tuple(nullptr, 0));
    std::free(array);
}

TEST(Limits, ExactValues) {
    EXPECT_EQ(std::make_tuple(ORNInt32Min(), ORNInt32Max(), ORNUInt32Min(), ORNUInt32Max()),
              std::make_tuple(INT32_MIN, 2147483647, 0u, 4294967295u));
    // The smallest positive normal, not the most negative value.
    EXPECT_EQ(std::make_pair(ORNFloatMin(), ORNFloatMax()), std::make_pair(0x1p-126f, 0x1.fffffep127f));
}

TEST(StringCopies, AllOrNothingCopyAndBoundedCopy) {
    char buffer[8];
    EXPECT_EQ(ORN_StringCopy(nullptr, "abc", 0), 4);
    EXPECT_EQ(ORN_StringCopy(buffer, "abc", 4), 4);
    EXPECT_STREQ(buffer, "abc");
    std::strcpy(buffer, "zzz");
    EXPECT_EQ(ORN_StringCopy(buffer, "abc", 3), 0);
    EXPECT_STREQ(buffer, "");  // never truncated: empty instead
    std::strcpy(buffer, "zzz");
    EXPECT_EQ(ORN_StringCopy(buffer, "abc", 0), 0);
    EXPECT_STREQ(buffer, "zzz");  // nothing may be written into a zero-sized buffer
    EXPECT_EQ(ORN_StringCopy(buffer, nullptr, 8), 0);
    EXPECT_EQ(ORN_StringCopy(buffer, "", 1), 1);
    EXPECT_STREQ(buffer, "");

    // The bounded copy always terminates.
    std::memset(buffer, 'x', sizeof buffer);
    ORNStringCopy(buffer, "sixsix", 4);
    EXPECT_STREQ(buffer, "six");
    std::memset(buffer, 'x', sizeof buffer);
    ORNStringCopy(buffer, "ab", 6);
    // The rest of the bound NUL-filled, and nothing behind it touched.
    EXPECT_EQ(std::string(buffer, 8), std::string("ab\0\0\0\0xx", 8));
    ORNStringCopy(buffer, nullptr, 4);
    EXPECT_STREQ(buffer, "");
}

}  // namespace
