// Image records and image vectors with their allocation rules.
//
// A record either owns its buffer (allocated here, dontfree 0) or borrows
// one (dontfree 1): a borrowed buffer is never freed or reallocated.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "ORNBase.h"

namespace {

// width*height elements of pixelsize bytes, zero-filled. The product is
// taken in 64 bits. A zero-byte request still yields a valid buffer (as the
// C allocator does), so a record always owns what it points to; a negative
// count of real pixels fails as "no memory".
void* alloc_pixels(int width, int height, int pixelsize) {
    const int64_t count = static_cast<int64_t>(width) * static_cast<int64_t>(height);
    if (pixelsize <= 0 || count == 0) return std::calloc(1, 1);
    if (count < 0) return nullptr;
    return std::calloc(static_cast<size_t>(count), static_cast<size_t>(pixelsize));
}

}  // namespace

extern "C" {

void ORNImageInitEmpty(orn_image_t* image) {
    if (image == nullptr) return;
    image->data = nullptr;
    image->width = 0;
    image->height = 0;
    image->type = ORN_PIX_GENERIC;
    image->pixelsize = 0;
    image->dontfree = 0;
}

orn_status_t ORNImageInitData(orn_image_t* image, int width, int height, orn_pixel_t type, void* data) {
    if (image == nullptr) return ORN_ERROR;
    ORNImageInitEmpty(image);
    if (width < 0 || height < 0) return ORN_ERROR;
    const int pixelsize = ORNPixelTypeGetSize(type);
    if (pixelsize < 1) return ORN_ERROR;
    image->pixelsize = pixelsize;
    image->type = type;
    image->width = width;
    image->height = height;
    image->data = data;
    image->dontfree = data != nullptr ? 1 : 0;
    return ORN_OK;
}

orn_status_t ORNImageInit(orn_image_t* image, int width, int height, orn_pixel_t type) {
    if (image == nullptr) return ORN_ERROR;
    // The parameter checks do not surface here: a record that failed them
    // holds pixelsize 0 and ends up with a valid empty buffer.
    (void)ORNImageInitData(image, width, height, type, nullptr);
    image->data = alloc_pixels(width, height, image->pixelsize);
    if (image->data == nullptr) {
        ORNImageInitEmpty(image);
        return ORN_ERR_OUT_OF_MEMORY;
    }
    image->dontfree = 0;
    return ORN_OK;
}

void ORNImageDestroy(orn_image_t* image) {
    if (image == nullptr || image->data == nullptr) return;
    if (!image->dontfree) std::free(image->data);
    ORNImageInitEmpty(image);
}

orn_status_t ORNImageResize(orn_image_t* image, int width, int height) {
    if (image == nullptr || image->data == nullptr || image->type == ORN_PIX_GENERIC) return ORN_ERR_UNINITIALIZED;
    const uint32_t new_count = static_cast<uint32_t>(width) * static_cast<uint32_t>(height);
    const uint32_t old_count = static_cast<uint32_t>(image->width) * static_cast<uint32_t>(image->height);
    if (new_count == old_count) {
        image->width = width;
        image->height = height;
        return ORN_OK;
    }
    if (image->dontfree) return ORN_ERROR;
    std::free(image->data);
    image->data = alloc_pixels(width, height, image->pixelsize);
    if (image->data == nullptr) {
        ORNImageInitEmpty(image);
        return ORN_ERR_OUT_OF_MEMORY;
    }
    image->width = width;
    image->height = height;
    return ORN_OK;
}

void ORNImageVecInitEmpty(orn_image_vec_t* imagevec) {
    if (imagevec == nullptr) return;
    imagevec->image = nullptr;
    imagevec->used = 0;
    imagevec->allocated = 0;
}

orn_status_t ORNImageVecInit(orn_image_vec_t* imagevec, int size) {
    if (imagevec == nullptr) return ORN_ERROR;
    if (size < 1) {
        ORNImageVecInitEmpty(imagevec);
        return size == 0 ? ORN_OK : ORN_ERR_OUT_OF_RANGE;
    }
    imagevec->image = static_cast<orn_image_t*>(std::calloc(static_cast<size_t>(size), sizeof(orn_image_t)));
    if (imagevec->image == nullptr) {
        ORNImageVecInitEmpty(imagevec);
        return ORN_ERR_OUT_OF_MEMORY;
    }
    imagevec->used = 0;
    imagevec->allocated = size;
    return ORN_OK;
}

orn_status_t ORNImageVecResize(orn_image_vec_t* imagevec, int size) {
    if (imagevec == nullptr) return ORN_ERROR;
    if (size < 1) {
        // Emptied without freeing: the caller keeps what it had.
        ORNImageVecInitEmpty(imagevec);
        return size == 0 ? ORN_OK : ORN_ERR_OUT_OF_RANGE;
    }
    if (size == imagevec->allocated) return ORN_OK;
    if (size < imagevec->allocated) {
        for (int i = size + 1; i < imagevec->allocated; ++i) ORNImageDestroy(&imagevec->image[i]);
    }
    // The established contract sizes the array in bytes, not records.
    void* grown = std::realloc(imagevec->image, static_cast<size_t>(size));
    if (grown == nullptr) {
        ORNImageVecInitEmpty(imagevec);
        return ORN_ERR_OUT_OF_MEMORY;
    }
    imagevec->image = static_cast<orn_image_t*>(grown);
    imagevec->allocated = size;
    return ORN_OK;
}

orn_status_t ORNImageVecDestroy(orn_image_vec_t* imagevec) {
    if (imagevec == nullptr || imagevec->image == nullptr) return ORN_OK;
    for (int i = 0; i < imagevec->used && i < imagevec->allocated; ++i) ORNImageDestroy(&imagevec->image[i]);
    std::free(imagevec->image);
    ORNImageVecInitEmpty(imagevec);
    return ORN_OK;
}

}  // extern "C"
