#include "Store.h"

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace quarlo::headunit {
namespace {

/// How every store begins: nothing else is taken for one, and so nothing else is overwritten.
constexpr std::string_view mark = "quarlo store 1\n";

bool takeMark(std::istream& input) {
    std::string head(mark.size(), '\0');
    return input.read(head.data(), static_cast<std::streamsize>(head.size())) && head == mark;
}

}  // namespace

bool Blocks::keep(UInt16 identifier, std::span<const UInt8> bytes) {
    erase(identifier);
    if (bytes.size() > quota - used) return false;
    blocks[identifier].assign(bytes.begin(), bytes.end());
    used += bytes.size();
    return true;
}

const std::vector<UInt8>* Blocks::find(UInt16 identifier) const {
    const auto found = blocks.find(identifier);
    return found == blocks.end() ? nullptr : &found->second;
}

void Blocks::erase(UInt16 identifier) {
    const auto found = blocks.find(identifier);
    if (found == blocks.end()) return;
    used -= found->second.size();
    blocks.erase(found);
}

HostStore::HostStore(std::string given) : file(std::move(given)) {
    if (!file.empty() && canUse(file)) load();
}

bool HostStore::canUse(const std::string& file) {
    std::error_code error;
    if (!std::filesystem::exists(file, error)) return true;
    if (!std::filesystem::is_regular_file(file, error)) return false;
    if (std::filesystem::file_size(file, error) == 0) return true;
    std::ifstream input(file, std::ios::binary);
    return takeMark(input);
}

HostStore::Outcome HostStore::apply(ServerCustomDataRawType operation, UInt16 identifier,
                                    std::span<const UInt8> bytes) {
    switch (operation) {
        case eSERVERCUSTOMDATARAWTYPE_StoreHost:
            return keep(passing, identifier, bytes);
        case eSERVERCUSTOMDATARAWTYPE_GetHost:
            return fetch(passing, identifier);
        case eSERVERCUSTOMDATARAWTYPE_DeleteHost:
            return forget(passing, identifier);
        case eSERVERCUSTOMDATARAWTYPE_StorePersistent:
            return keep(lasting, identifier, bytes);
        case eSERVERCUSTOMDATARAWTYPE_GetPersistent:
            return fetch(lasting, identifier);
        case eSERVERCUSTOMDATARAWTYPE_DeletePersistent:
            return forget(lasting, identifier);
        default:
            return {"ignored", {}};
    }
}

HostStore::Outcome HostStore::keep(Blocks& blocks, UInt16 identifier,
                                   std::span<const UInt8> bytes) {
    const bool isKept = blocks.keep(identifier, bytes);
    const bool isSaved = save(blocks);
    if (!isKept) return {"refused: the store is full", {}};
    return {isSaved ? "kept" : "kept, but the file cannot be written", {}};
}

HostStore::Outcome HostStore::fetch(const Blocks& blocks, UInt16 identifier) {
    const std::vector<UInt8>* found = blocks.find(identifier);
    if (found == nullptr) return {"nothing is kept there", std::vector<UInt8>()};
    return {"answered", *found};
}

HostStore::Outcome HostStore::forget(Blocks& blocks, UInt16 identifier) {
    blocks.erase(identifier);
    return {save(blocks) ? "forgotten" : "forgotten, but the file cannot be written", {}};
}

// Behind the mark, a block is its identifier, its size and its bytes, the numbers in little-endian
// order. What is cut off is not there.
void HostStore::load() {
    std::ifstream input(file, std::ios::binary);
    if (!takeMark(input)) return;
    unsigned char head[4];
    std::vector<UInt8> bytes;
    while (input.read(reinterpret_cast<char*>(head), sizeof head)) {
        bytes.resize(head[2] + 256U * head[3]);
        if (!input.read(reinterpret_cast<char*>(bytes.data()),
                        static_cast<std::streamsize>(bytes.size()))) {
            return;
        }
        lasting.keep(static_cast<UInt16>(head[0] + 256U * head[1]), bytes);
    }
}

// Under another name first, which nothing else has, so that a cut in the middle leaves the old
// file.
bool HostStore::save(const Blocks& changed) const {
    if (file.empty() || &changed != &lasting) return true;
    std::string fresh = file + ".XXXXXX";
    const int made = canUse(file) ? mkstemp(fresh.data()) : -1;
    if (made < 0) return false;
    close(made);
    std::ofstream output(fresh, std::ios::binary | std::ios::trunc);
    output << mark;
    for (const auto& [identifier, bytes] : lasting.all()) {
        for (const std::size_t number : {std::size_t{identifier}, bytes.size()}) {
            output.put(static_cast<char>(number & 0xFF)).put(static_cast<char>(number >> 8));
        }
        output.write(reinterpret_cast<const char*>(bytes.data()),
                     static_cast<std::streamsize>(bytes.size()));
    }
    output.close();
    if (output && std::rename(fresh.c_str(), file.c_str()) == 0) return true;
    std::remove(fresh.c_str());
    return false;
}

}  // namespace quarlo::headunit
