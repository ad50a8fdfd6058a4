/* Arguments of host API calls, made from an input. */
#ifndef QUARLO_FUZZ_ARGUMENTS_H
#define QUARLO_FUZZ_ARGUMENTS_H

#include <vector>

#include "ApiCalls.h"
#include "Input.h"

namespace quarlo::fuzz {

class Arguments : public test::Arguments {
  public:
    Arguments(Input& input, test::Listener& host, AppInfoList*& list)
        : in(input), whole(host), apps(list) {}

    std::uint64_t number(std::uint64_t, std::size_t size) override { return in.number(size); }
    /** So many bytes, or null now and then. */
    void* bytes(const void*, std::size_t size) override {
        if (in.u8() % 8 == 0) return nullptr;
        const Span given = in.take(size);
        const Exact& block = blocks.emplace_back(size);
        std::copy(given.begin(), given.end(), block.data());
        return block.data();
    }
    /** A terminated text: null, empty, as given, or long. */
    char* text(const char*) override {
        const unsigned kind = in.u8();
        if (kind == 0) return nullptr;
        const bool isLong = kind == 255;
        const std::size_t length = isLong ? std::size_t{65400} + in.u8() : kind - 1;
        const Exact& block = blocks.emplace_back(length + 1);
        if (isLong) std::memset(block.data(), 'x', length);
        const Span given = isLong ? Span() : in.take(length);
        std::copy(given.begin(), given.end(), block.data());
        return reinterpret_cast<char*>(block.data());
    }
    KeyValueList* pairs(KeyValueList*) override {
        const unsigned count = in.u8() % 4;
        if (count == 3) return nullptr;
        auto& entries = keyValues.emplace_back();
        for (unsigned i = 0; i < count; ++i) {
            char* key = text(nullptr);
            entries.push_back({key, text(nullptr)});
        }
        return &lists.emplace_back(KeyValueList{static_cast<UInt8>(count), entries.data()});
    }
    test::Listener* listener() override { return in.u8() % 4 == 0 ? nullptr : &whole; }
    Dump dump() override {
        const Flag isStandard = in.u8();
        return {isStandard, text(nullptr)};
    }
    bool keeps(AppInfoList* list) override {
        apps = list;
        return true;
    }
    AppInfoList* kept() override {
        static AppInfoList foreign{};
        test::lookAtApps(apps);
        AppInfoList* const choice[] = {nullptr, &foreign, apps, apps};
        AppInfoList* const chosen = choice[in.u8() % 4];
        if (chosen == apps) apps = nullptr;
        return chosen;
    }
    void returned(const void* data, std::size_t size) override { look(data, size); }

  private:
    Input& in;
    test::Listener& whole;
    AppInfoList*& apps;
    std::deque<std::vector<KeyValue>> keyValues;
    std::deque<KeyValueList> lists;
};

}  // namespace quarlo::fuzz

#endif
