/*
 * One sample of every packet: its payload and, once, the fields that are both filled in and
 * expected. Included by Wire.cpp only.
 */
#ifndef QUARLO_TESTS_SAMPLES_H
#define QUARLO_TESTS_SAMPLES_H

#include <gtest/gtest.h>

#include <cstring>
#include <type_traits>

#include "QUARLO.Connector.IVI-API_C.h"
#include "Wire.h"

namespace quarlo::test {

template <class P>
struct Sample;

#define SAMPLE(Name, Type, Payload)                          \
    template <>                                              \
    struct Sample<packet##Name> {                            \
        static constexpr unsigned type = Type;               \
        static constexpr std::string_view payload = Payload; \
        template <class V>                                   \
        static void each(packet##Name& p, V& v);             \
    };                                                       \
    template <class V>                                       \
    void Sample<packet##Name>::each([[maybe_unused]] packet##Name& p, [[maybe_unused]] V& v)

/** Sets the fields of a record as a sender does, with memory of the library. */
struct Fill {
    template <class T>
    static T* take(std::size_t count = 1) {
        void* block = quarlo_malloc(count * sizeof(T));
        std::memset(block, 0, count * sizeof(T));
        return static_cast<T*>(block);
    }
    template <class T>
    void value(T& field, std::type_identity_t<T> wanted) {
        field = wanted;
    }
    template <class R>
    R& record(R*& member) {
        if (member == nullptr) member = take<R>();
        return *member;
    }
    template <class C, class T>
    void run(C& count, T*& field, std::initializer_list<std::type_identity_t<T>> wanted) {
        count = static_cast<C>(wanted.size());
        if (count == 0) return;
        field = take<T>(wanted.size());
        std::copy(wanted.begin(), wanted.end(), field);
    }
    void text(qrString*& member, std::string_view wanted,
              StringEncoding encoding = eSTRINGENCODING_UTF8) {
        qrString& string = record(member);
        string.Encoding = encoding;
        string.Length = static_cast<UInt16>(wanted.size());
        if (wanted.empty()) return;
        string.pContent = take<UInt8>(wanted.size());
        std::memcpy(string.pContent, wanted.data(), wanted.size());
    }
    void language(UInt8 (&field)[3], const char* wanted) { std::memcpy(field, wanted, 3); }
    template <class C, class R, class Entry>
    void list(C& count, R**& entries, std::size_t wanted, Entry entry) {
        count = static_cast<C>(wanted);
        entries = take<R*>(wanted);
        for (std::size_t i = 0; i < wanted; ++i) entry(record(entries[i]), i);
    }
};

/** Expects what Fill sets. */
struct Check {
    template <class T>
    void value(T& field, std::type_identity_t<T> wanted) {
        EXPECT_EQ(static_cast<long long>(field), static_cast<long long>(wanted));
    }
    template <class R>
    R& record(R*& member) {
        EXPECT_NE(member, nullptr);
        static R none;
        none = {};
        return member == nullptr ? none : *member;
    }
    template <class C, class T>
    void run(C& count, T*& field, std::initializer_list<std::type_identity_t<T>> wanted) {
        ASSERT_EQ(count, wanted.size());
        ASSERT_EQ(field != nullptr, count != 0);
        EXPECT_TRUE(std::equal(wanted.begin(), wanted.end(), field));
    }
    void text(qrString*& member, std::string_view wanted,
              StringEncoding encoding = eSTRINGENCODING_UTF8) {
        const qrString& string = record(member);
        EXPECT_EQ(string.Encoding, encoding);
        ASSERT_EQ(string.Length, wanted.size());
        ASSERT_EQ(string.pContent != nullptr, !wanted.empty());
        if (wanted.empty()) return;
        EXPECT_EQ(std::string_view(reinterpret_cast<char*>(string.pContent), string.Length),
                  wanted);
    }
    void language(UInt8 (&field)[3], const char* wanted) {
        EXPECT_EQ(std::memcmp(field, wanted, 3), 0);
    }
    template <class C, class R, class Entry>
    void list(C& count, R**& entries, std::size_t wanted, Entry entry) {
        ASSERT_EQ(count, wanted);
        ASSERT_NE(entries, nullptr);
        for (std::size_t i = 0; i < wanted; ++i) entry(record(entries[i]), i);
    }
};

}  // namespace quarlo::test

#include "Samples-FromPhone.h"
#include "Samples-ToPhone.h"

#endif
