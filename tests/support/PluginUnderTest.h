/*
 * A plug-in opened as the library does it, on a heap that counts and can refuse; and buffers that
 * have no byte to spare on either side.
 */
#ifndef QUARLO_TESTS_PLUGIN_UNDER_TEST_H
#define QUARLO_TESTS_PLUGIN_UNDER_TEST_H

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

#include "QUARLO-LibScale.h"

namespace quarlo::test {

/** The heap that the plug-ins under test are given. */
struct HostHeap {
    static inline std::atomic<int> live{0};
    static inline std::atomic<int> made{0};
    static inline std::atomic<bool> refuses{false};

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

/** Exactly size bytes on the heap: a sanitizer sees the first byte beyond them. */
class Exact {
  public:
    explicit Exact(size_t size, UInt8 fill = 0) : length(size), block(new UInt8[size]) {
        std::fill_n(block.get(), size, fill);
    }
    explicit Exact(const std::vector<UInt8>& bytes) : Exact(bytes.size()) {
        std::copy(bytes.begin(), bytes.end(), block.get());
    }
    UInt8* data() const { return block.get(); }
    UInt32 size() const { return static_cast<UInt32>(length); }
    std::vector<UInt8> bytes() const { return {data(), data() + length}; }

  private:
    size_t length;
    std::unique_ptr<UInt8[]> block;
};

class Plugin {
  public:
    explicit Plugin(const char* file) : library(dlopen(file, RTLD_LAZY)) {
        if (library == nullptr) ADD_FAILURE() << dlerror();
    }
    ~Plugin() {
        if (library != nullptr) dlclose(library);
    }
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    template <class Function>
    Function function(const char* name) const {
        void* found = library == nullptr ? nullptr : dlsym(library, name);
        if (found == nullptr) {
            ADD_FAILURE() << name << " is missing";
            std::abort();
        }
        return reinterpret_cast<Function>(found);
    }

  private:
    void* library;
};

/** Result of one call together with its detail code. */
struct Outcome {
    Int32 result;
    Int32 detail;
    bool operator==(const Outcome&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    return out << "result " << outcome.result << ", detail " << outcome.detail;
}

/** An initialised decompressor. */
class Decompressor {
  public:
    Decompressor(const char* file, FrameCompression bit)
        : plugin(file),
          decompress(plugin.function<decompressionFunction>("quarloCompression_decompress")) {
        parameter.mallocFunction = &HostHeap::allocate;
        parameter.freeFunction = &HostHeap::release;
        EXPECT_EQ(0, initialise(&parameter));
        EXPECT_EQ(bit, parameter.compression);
    }
    Int32 initialise(decompressInitParameter* p) const {
        return plugin.function<decompressInitialiseFunction>("quarloCompression_initialise")(p);
    }
    Outcome operator()(decompressParameter p) const {
        Int32 detail = 4711;
        const Int32 result = decompress(&p, &detail);
        return {result, detail};
    }
    Int32 call(decompressParameter* p, Int32* detail) const { return decompress(p, detail); }

    decompressInitParameter parameter{};

  private:
    Plugin plugin;
    decompressionFunction decompress;
};

/** What every decompressor must refuse in initialise. */
inline void expectRefusesInitialiseWithoutHeap(const Decompressor& decompressor) {
    decompressInitParameter p{};
    EXPECT_NE(0, decompressor.initialise(nullptr));
    p.mallocFunction = &HostHeap::allocate;
    EXPECT_NE(0, decompressor.initialise(&p));
    p.mallocFunction = nullptr;
    p.freeFunction = &HostHeap::release;
    EXPECT_NE(0, decompressor.initialise(&p));
}

/** What every decompressor makes of its parameter before it decodes; this one decodes. */
inline void expectRefusesParameters(const Decompressor& decompressor,
                                    const decompressParameter& good) {
    Int32 detail = 0;
    decompressParameter p = good;
    ASSERT_EQ(eDECOMPRESSERROR_NONE, decompressor.call(&p, &detail));
    EXPECT_EQ(eDECOMPRESSERROR_NULL_PARAM, decompressor.call(nullptr, &detail));
    EXPECT_EQ(eDECOMPRESSERROR_NULL_PARAM, decompressor.call(&p, nullptr));
    EXPECT_EQ(eDECOMPRESSERROR_NULL_PARAM, decompressor.call(nullptr, nullptr));

    struct Case {
        const char* what;
        void (*change)(decompressParameter&);
        eDECOMPRESSERROR expected;
    };
    const Case cases[] = {
        {"no data", [](auto& c) { c.compressedData = nullptr; },
         eDECOMPRESSERROR_NULL_PARAM_CONTENT},
        {"no frame", [](auto& c) { c.frameData = nullptr; }, eDECOMPRESSERROR_NULL_PARAM_CONTENT},
        {"empty frame", [](auto& c) { c.frameDataLength = 0; },
         eDECOMPRESSERROR_DIMENSION_MISMATCH},
        {"bytes of another format", [](auto& c) { ++c.bpp; }, eDECOMPRESSERROR_DIMENSION_MISMATCH},
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
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        decompressParameter changed = good;
        c.change(changed);
        EXPECT_EQ((Outcome{c.expected, 0}), decompressor(changed));
    }
}

/** Runs the body on eight threads at once. */
template <class Body>
void onEightThreads(Body body) {
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < 8; ++i) threads.emplace_back([&body, i] { body(i); });
    for (std::thread& thread : threads) thread.join();
}

}  // namespace quarlo::test

#endif
