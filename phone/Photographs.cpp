#include "Photographs.h"

#include <turbojpeg.h>

#include <array>
#include <memory>
#include <span>

namespace quarlo::phone {
namespace {

#include "PhotographBytes.inc"

constexpr std::array<std::span<const std::uint8_t>, photographCount> files{coffee, cat};

}  // namespace

Picture photograph(int number) {
    const auto file = files.at(static_cast<std::size_t>(number));
    const std::unique_ptr<void, int (*)(tjhandle)> decoder(tjInitDecompress(), tjDestroy);
    int width = 0;
    int height = 0;
    int sampling = 0;
    int colours = 0;
    if (decoder == nullptr || tjDecompressHeader3(decoder.get(), file.data(), file.size(), &width,
                                                  &height, &sampling, &colours) != 0)
        return {};
    Picture picture(width, height);
    auto* pixels = reinterpret_cast<unsigned char*>(picture.pixels.data());
    const int result = tjDecompress2(decoder.get(), file.data(), file.size(), pixels, width, 0,
                                     height, TJPF_BGRA, 0);
    return result == 0 ? picture : Picture();
}

}  // namespace quarlo::phone
