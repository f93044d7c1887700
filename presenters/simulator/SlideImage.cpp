#include "presenters/simulator/SlideImage.h"

#include "presenters/simulator/SlideDrawing.h"

#include <jpeglib.h>
#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdio>  // jpeglib.h needs it
#include <cstdlib>
#include <memory>

namespace simulator {
namespace {

constexpr int kWidth = 1440;
constexpr int kHeight = 810;

struct ErrorManager {
    jpeg_error_mgr base;
    std::jmp_buf escape;
};

[[noreturn]] void escapeFromError(j_common_ptr common) {
    std::longjmp(reinterpret_cast<ErrorManager*>(common->err)->escape, 1);
}

/// Encodes 32-bit pixels in the machine's byte order (what cairo draws). What it allocates is freed by the caller,
/// because the library leaves it by a jump. False when memory runs out.
bool encode(const unsigned char* pixels, int stride, int quality, unsigned char*& bytes, unsigned long& size) {
    jpeg_compress_struct compressor{};
    ErrorManager errors{};
    compressor.err = jpeg_std_error(&errors.base);
    errors.base.error_exit = escapeFromError;
    // The library ends the process on an error unless its handler leaves by a jump.
    if (setjmp(errors.escape) != 0) {
        jpeg_destroy_compress(&compressor);
        return false;
    }
    jpeg_create_compress(&compressor);
    jpeg_mem_dest(&compressor, &bytes, &size);
    compressor.image_width = kWidth;
    compressor.image_height = kHeight;
    compressor.input_components = 4;
    compressor.in_color_space = JCS_EXT_BGRX;
    jpeg_set_defaults(&compressor);
    jpeg_set_quality(&compressor, quality, TRUE);
    jpeg_start_compress(&compressor, TRUE);
    while (compressor.next_scanline < compressor.image_height) {
        auto* row = const_cast<JSAMPROW>(pixels + static_cast<std::ptrdiff_t>(compressor.next_scanline) * stride);
        jpeg_write_scanlines(&compressor, &row, 1);
    }
    jpeg_finish_compress(&compressor);
    jpeg_destroy_compress(&compressor);
    return true;
}

}  // namespace

std::string jpegOfSlide(const presenters::ProgramDocument& document, std::int64_t slide, double quality) {
    const std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> surface(
        cairo_image_surface_create(CAIRO_FORMAT_RGB24, kWidth, kHeight), cairo_surface_destroy);
    const std::unique_ptr<cairo_t, decltype(&cairo_destroy)> cairo(cairo_create(surface.get()), cairo_destroy);
    drawSlide(cairo.get(), kWidth, kHeight, document, slide);
    // What was drawn may still wait in the library; the pixels are read past it.
    cairo_surface_flush(surface.get());
    const unsigned char* const pixels = cairo_image_surface_get_data(surface.get());
    if (!pixels) return {};
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    const int percent = std::clamp(static_cast<int>(std::lround(quality * 100)), 1, 100);
    const bool complete = encode(pixels, cairo_image_surface_get_stride(surface.get()), percent, bytes, size);
    const std::unique_ptr<unsigned char, decltype(&std::free)> owner(bytes, std::free);
    if (!complete) return {};
    return {reinterpret_cast<const char*>(bytes), size};
}

}  // namespace simulator
