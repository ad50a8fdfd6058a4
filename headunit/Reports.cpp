#include "Reports.h"

#include <algorithm>
#include <cstring>

#include "common/Log.h"

namespace quarlo::headunit {
namespace {

constexpr std::size_t longestText = 400;
constexpr std::size_t shownBytes = 32;

std::string enclose(const std::string& text, bool isCut) {
    return "\"" + text + (isCut ? "...\"" : "\"");
}

std::string latin1AsUtf8(const char* text, std::size_t length) {
    std::string result;
    for (std::size_t i = 0; i < length; ++i) {
        const auto letter = static_cast<unsigned char>(text[i]);
        if (letter < 0x80) {
            result += static_cast<char>(letter);
        } else {
            result += static_cast<char>(0xC0 | (letter >> 6));
            result += static_cast<char>(0x80 | (letter & 0x3F));
        }
    }
    return result;
}

std::string addressOf(const LocationStrings& location) {
    const std::pair<const char*, const char*> parts[] = {
        {"country", location.Country},    {"region", location.StateRegion},
        {"zip", location.ZipCode},        {"city", location.City},
        {"street", location.Street},      {"cross street", location.CrossStreet},
        {"number", location.Housenumber},
    };
    std::string text;
    for (unsigned i = 0; i < std::size(parts); ++i) {
        if ((location.validMask >> i & 1) == 0) continue;
        text += (text.empty() ? "" : ", ") + std::string(parts[i].first) + " " +
                quoted(parts[i].second);
    }
    return text.empty() ? "an empty address" : text;
}

}  // namespace

std::string quoted(const char* text) {
    if (text == nullptr) return "none";
    const std::size_t length = strnlen(text, longestText + 1);
    return enclose(std::string(text, std::min(length, longestText)), length > longestText);
}

std::string quotedLatin1(const char* text) {
    if (text == nullptr) return "none";
    const std::size_t length = strnlen(text, longestText + 1);
    return enclose(latin1AsUtf8(text, std::min(length, longestText)), length > longestText);
}

std::string hexadecimal(std::span<const UInt8> bytes) {
    std::string text;
    for (const UInt8 byte : bytes.first(std::min(bytes.size(), shownBytes))) {
        text += format(text.empty() ? "%02X" : " %02X", byte);
    }
    return text + (bytes.size() > shownBytes ? " ..." : "");
}

std::string reportPlace(const char* name, NavigateToType type, double longitude, double latitude,
                        const LocationStrings* location) {
    std::string text = quoted(name) + " " + wireName(type);
    if (type != eNAVIGATETOTYPE_PlacemarkOnly) {
        text += format(" longitude %.6f latitude %.6f", longitude, latitude);
    }
    return location == nullptr ? text : text + " " + addressOf(*location);
}

std::string reportKeys(bool isOn, std::span<const UInt32> keys) {
    std::string text = isOn ? "on" : "off";
    for (const UInt32 key : keys) text += " " + std::to_string(key);
    return text;
}

std::string reportNumber(ServerCustomDataIntType type, std::span<const UInt8> bytes) {
    const std::size_t size = bytes.size();
    if (size != 1 && size != 2 && size != 4 && size != 8) {
        return wireName(type) + " bytes " + hexadecimal(bytes);
    }
    UInt64 value = 0;
    for (std::size_t i = 0; i < size; ++i) value |= UInt64{bytes[i]} << (8 * i);
    return wireName(type) + " " + std::to_string(value);
}

std::string reportBusMessage(ServerCustomDataCanType type, UInt32 identifier,
                             std::span<const UInt8> bytes) {
    return wireName(type) + format(" identifier 0x%X: ", identifier) + hexadecimal(bytes);
}

std::string reportBlock(ServerCustomDataRawType operation, UInt16 identifier,
                        std::span<const UInt8> bytes) {
    return wireName(operation) + format(" 0x%03X, %zu bytes: ", identifier, bytes.size()) +
           hexadecimal(bytes);
}

std::string reportApp(const AppInfo& app) {
    std::string categories;
    if (app.Categories != nullptr) {
        const std::span numbers(app.Categories->Categories, app.Categories->NumberOfCategories);
        for (const UInt32 number : numbers) categories += " " + std::to_string(number);
    }
    std::string language;
    for (const UInt8 letter : app.arrLanguage) {
        if (letter != 0) language += static_cast<char>(letter);
    }
    return quoted(app.IdentifierURL) + " " + quoted(app.Name) + " icon " +
           std::to_string(app.UniqueIconID) + " by " + quoted(app.Manufacturer) + ": " +
           quoted(app.Description) + " " + wireName(app.InstStatus) + " language " + language +
           " categories" + categories + (app.IsAbleToLaunchApps != 0 ? ", launches apps" : "");
}

}  // namespace quarlo::headunit
