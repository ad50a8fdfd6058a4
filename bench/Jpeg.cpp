#include "Jpeg.h"

#include <turbojpeg.h>

namespace quarlo::bench {
namespace {

/** Flat areas, gradients, grain. */
Bytes picture(int width, int height) {
    Bytes rgb;
    UInt32 noise = 1;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            noise = noise * 1664525U + 1013904223U;
            const bool isPhoto = x > width / 2;
            const int grain = isPhoto ? static_cast<int>(noise >> 27) : 0;
            rgb.push_back(static_cast<UInt8>(x / 8 + grain));
            rgb.push_back(isPhoto ? static_cast<UInt8>((x + y) / 8 + grain) : UInt8{0x40});
            rgb.push_back(static_cast<UInt8>((x / 64 + y / 48) % 2 == 0 ? y / 4 : 220));
        }
    }
    return rgb;
}

}  // namespace

Bytes jpegPicture(int width, int height) {
    const Bytes rgb = picture(width, height);
    const tjhandle handle = tjInitCompress();
    unsigned char* jpeg = nullptr;
    unsigned long size = 0;
    tjCompress2(handle, rgb.data(), width, 0, height, TJPF_RGB, &jpeg, &size, TJSAMP_420, 80, 0);
    Bytes bytes(jpeg, jpeg + size);
    tjFree(jpeg);
    tjDestroy(handle);
    return bytes;
}

void decodeAlone(const Bytes& jpeg, UInt8* into, int width, int height, int pitch) {
    const tjhandle handle = tjInitDecompress();
    tjDecompress2(handle, jpeg.data(), jpeg.size(), into, width, pitch, height, TJPF_BGRA, 0);
    tjDestroy(handle);
}

}  // namespace quarlo::bench
