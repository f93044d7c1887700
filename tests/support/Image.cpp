#include "tests/support/Image.h"

#include <cstdio>
#include <cstdlib>
// libjpeg's header wants stdio's types before it.
#include <jpeglib.h>
#include <csetjmp>
#include <memory>

namespace {

struct Failure {
    jpeg_error_mgr base;
    std::jmp_buf back;
};

[[noreturn]] void leave(j_common_ptr info) {
    std::longjmp(reinterpret_cast<Failure*>(info->err)->back, 1);
}

bool decode(std::FILE* file, Image& image) {
    jpeg_decompress_struct info{};
    Failure failure{};
    info.err = jpeg_std_error(&failure.base);
    failure.base.error_exit = leave;
    if (setjmp(failure.back) != 0) {
        jpeg_destroy_decompress(&info);
        return false;
    }
    jpeg_create_decompress(&info);
    jpeg_stdio_src(&info, file);
    jpeg_read_header(&info, TRUE);
    info.out_color_space = JCS_RGB;
    jpeg_start_decompress(&info);
    image.width = info.output_width;
    image.height = info.output_height;
    image.samples.resize(image.width * image.height * 3);
    while (info.output_scanline < info.output_height) {
        JSAMPROW row = image.samples.data() + info.output_scanline * image.width * 3;
        jpeg_read_scanlines(&info, &row, 1);
    }
    jpeg_finish_decompress(&info);
    const bool complete = failure.base.num_warnings == 0;
    jpeg_destroy_decompress(&info);
    return complete;
}

}  // namespace

std::optional<Image> Image::read(const std::filesystem::path& path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
    Image image;
    if (!file || !decode(file.get(), image)) return std::nullopt;
    return image;
}

Colour Image::at(double x, double y) const {
    const auto column = static_cast<std::size_t>(x * static_cast<double>(width));
    const auto row = static_cast<std::size_t>(y * static_cast<double>(height));
    const std::uint8_t* sample = samples.data() + (row * width + column) * 3;
    return {sample[0], sample[1], sample[2]};
}

bool alike(const Colour& a, const Colour& b) {
    return std::abs(a.red - b.red) + std::abs(a.green - b.green) + std::abs(a.blue - b.blue) < 24;
}
