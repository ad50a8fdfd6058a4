/* A plug-in opened as the library does it, on a heap that counts and can refuse. */
#ifndef QUARLO_TESTS_PLUGIN_UNDER_TEST_H
#define QUARLO_TESTS_PLUGIN_UNDER_TEST_H

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "Bytes.h"
#include "Look.h"
#include "QUARLO-LibScale.h"

namespace quarlo::test {

/** The heap that the plug-ins under test are given. */
struct HostHeap {
    static inline int live = 0;
    static inline int made = 0;
    static inline bool refuses = false;

    static void* allocate(size_t size) {
        if (refuses) return nullptr;
        ++live;
        ++made;
        return std::malloc(size);
    }
    static void release(void* block) {
        if (block != nullptr) --live;
        std::free(block);
    }
};

struct Layout {
    const char* name;
    PixelFormat format;
    PixelEndianess endian;
    UInt8 bytes;
};

inline constexpr Layout layouts[] = {
    {"RGB888 big", ePIXELFORMAT_RGB888, ePIXELENDIANESS_BigEndian, 3},
    {"RGB888 little", ePIXELFORMAT_RGB888, ePIXELENDIANESS_LittleEndian, 3},
    {"RGB565 big", ePIXELFORMAT_RGB565, ePIXELENDIANESS_BigEndian, 2},
    {"RGB565 little", ePIXELFORMAT_RGB565, ePIXELENDIANESS_LittleEndian, 2},
    {"ARGB8888 big", ePIXELFORMAT_ARGB8888, ePIXELENDIANESS_BigEndian, 4},
    {"ARGB8888 little", ePIXELFORMAT_ARGB8888, ePIXELENDIANESS_LittleEndian, 4},
    {"RGBA8888 big", ePIXELFORMAT_RGBA8888, ePIXELENDIANESS_BigEndian, 4},
    {"RGBA8888 little", ePIXELFORMAT_RGBA8888, ePIXELENDIANESS_LittleEndian, 4},
};

inline Bytes bytesIn(const Exact& block) {
    return {block.data(), block.data() + block.size()};
}

/** An entry point of a plug-in, which stays open. */
template <class Function>
Function entryOf(const char* file, const char* name) {
    void* const library = dlopen(file, RTLD_LAZY);
    void* const found = library == nullptr ? nullptr : dlsym(library, name);
    require(found != nullptr, name);
    return reinterpret_cast<Function>(found);
}

/** Initialises a plug-in, which refuses a host without a heap and tells its version. */
template <class Parameter>
Parameter initialised(Int32 (*initialise)(Parameter*)) {
    Parameter p{};
    EXPECT_NE(initialise(nullptr), 0);
    p.mallocFunction = &HostHeap::allocate;
    EXPECT_NE(initialise(&p), 0);
    p.mallocFunction = nullptr;
    p.freeFunction = &HostHeap::release;
    EXPECT_NE(initialise(&p), 0);
    p.mallocFunction = &HostHeap::allocate;
    p.versionMajor = p.versionMinor = p.versionBuild = 0xFFFF;
    EXPECT_EQ(initialise(&p), 0);
    EXPECT_LT(std::max({p.versionMajor, p.versionMinor, p.versionBuild}), 0xFFFF);
    return p;
}

/** Result of one call together with its detail code. */
struct Outcome {
    Int32 result;
    Int32 detail;
    bool operator==(const Outcome&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    return out << "result " << outcome.result << ", detail " << outcome.detail;
}

/** A parameter that is good but for one change, and what becomes of it. */
template <class Parameter>
struct Change {
    const char* what;
    void (*change)(Parameter&);
    Int32 expected;
};

template <class Parameter>
void expectEach(const Parameter& good, const std::vector<Change<Parameter>>& changes,
                Int32 (*call)(Parameter*, Int32*)) {
    Int32 detail = 0;
    for (const Change<Parameter>& c : changes) {
        Parameter changed = good;
        c.change(changed);
        EXPECT_EQ(c.expected, call(&changed, &detail)) << c.what;
    }
    Parameter p = good;
    EXPECT_EQ(call(nullptr, &detail), 1);
    EXPECT_EQ(call(&p, nullptr), 1);
    EXPECT_EQ(detail, 0);
}

inline UInt32 lengthOf(const Exact& block) {
    return static_cast<UInt32>(block.size());
}

inline scaleParameter enlargement(const Exact& from, int width, int height, const Exact& to,
                                  int newWidth, int newHeight, const Layout& layout) {
    return {static_cast<UInt16>(width),
            static_cast<UInt16>(height),
            lengthOf(from),
            from.data(),
            static_cast<UInt16>(newWidth),
            static_cast<UInt16>(newHeight),
            lengthOf(to),
            to.data(),
            layout.format,
            layout.endian,
            layout.bytes};
}

inline decompressParameter compressedPicture(FrameCompression compression, const Exact& data,
                                             const Exact& frame, int width, int height,
                                             const Layout& layout) {
    return {static_cast<UInt16>(width),
            static_cast<UInt16>(height),
            layout.bytes,
            layout.format,
            layout.endian,
            compression,
            data.data(),
            lengthOf(data),
            frame.data(),
            lengthOf(frame)};
}

/** An initialised decompressor. */
class Decompressor {
  public:
    Decompressor(const char* file, FrameCompression compression)
        : bit(compression),
          call(entryOf<decompressionFunction>(file, "quarloCompression_decompress")) {
        const auto initialise =
            entryOf<decompressInitialiseFunction>(file, "quarloCompression_initialise");
        EXPECT_EQ(initialised(initialise).compression, bit);
    }

    /** Decodes into a frame of exactly the size that the rectangle needs. */
    Outcome decode(const Bytes& bytes, int width, int height, const Layout& layout = layouts[0]) {
        const Exact data(bytes);
        const Exact frame(static_cast<size_t>(width) * static_cast<size_t>(height) * layout.bytes,
                          0x55);
        decompressParameter p = compressedPicture(bit, data, frame, width, height, layout);
        Int32 detail = 4711;
        const Int32 result = call(&p, &detail);
        decoded = bytesIn(frame);
        return {result, detail};
    }

    const FrameCompression bit;
    const decompressionFunction call;
    Bytes decoded;
};

using Changes = std::vector<Change<decompressParameter>>;

/** What every decompressor makes of its parameter before it decodes. */
inline const Changes changesOfAnyData = {
    {"no data", [](auto& c) { c.compressedData = nullptr; }, eDECOMPRESSERROR_NULL_PARAM_CONTENT},
    {"no frame", [](auto& c) { c.frameData = nullptr; }, eDECOMPRESSERROR_NULL_PARAM_CONTENT},
    {"empty frame", [](auto& c) { c.frameDataLength = 0; }, eDECOMPRESSERROR_DIMENSION_MISMATCH},
    {"bytes of another format", [](auto& c) { ++c.bpp; }, eDECOMPRESSERROR_DIMENSION_MISMATCH},
    {"bytes left to the format", [](auto& c) { c.bpp = 0; }, eDECOMPRESSERROR_NONE},
    // Nothing can be touched behind null pointers.
    {"no width", [](auto& c) { c.width = 0, c.frameData = c.compressedData = nullptr; },
     eDECOMPRESSERROR_NONE},
    {"no height", [](auto& c) { c.height = 0, c.frameData = c.compressedData = nullptr; },
     eDECOMPRESSERROR_NONE},
    {"compression None", [](auto& c) { c.compression = eFRAMECOMPRESSION_None; },
     eDECOMPRESSERROR_PARAM_CONTENT},
    {"compression All", [](auto& c) { c.compression = eFRAMECOMPRESSION_All; },
     eDECOMPRESSERROR_PARAM_CONTENT},
};

}  // namespace quarlo::test

#endif
