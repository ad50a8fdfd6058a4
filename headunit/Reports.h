/*
 * What the phone tells through the callbacks, as lines for people and scripts, and the blocks that
 * it parks at the host. The texts come from the phone: they are bounded here. Reports are pure
 * functions.
 */
#ifndef HEADUNIT_REPORTS_H
#define HEADUNIT_REPORTS_H

#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "common/Names.h"

namespace quarlo::headunit {

/** In quotes; no longer than a line should be. Null reads "none". */
std::string quoted(const char* text);
/** The same for a text whose bytes are Latin-1 letters. */
std::string quotedLatin1(const char* text);
/** The first bytes as pairs of hexadecimal digits. */
std::string hexadecimal(std::span<const UInt8> bytes);

std::string reportPlace(const char* name, NavigateToType type, double longitude, double latitude,
                        const LocationStrings* location);
std::string reportKeys(bool isOn, std::span<const UInt32> keys);
/** A number of 1, 2, 4 or 8 bytes, little-endian; its bytes otherwise. */
std::string reportNumber(ServerCustomDataIntType type, std::span<const UInt8> bytes);
std::string reportBusMessage(ServerCustomDataCanType type, UInt32 identifier,
                             std::span<const UInt8> bytes);
std::string reportBlock(ServerCustomDataRawType operation, UInt16 identifier,
                        std::span<const UInt8> bytes);
std::string reportApp(const AppInfo& app);

}  // namespace quarlo::headunit

#endif
