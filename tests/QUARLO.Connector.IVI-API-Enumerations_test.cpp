/* Every enumerator's value and every printer's texts, against the tables that docs/wire.md keeps.
 */
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>
#include <string>

#include "QUARLO.Connector.IVI-API_C.h"

namespace quarlo::test {
namespace {

struct Enumeration {
    std::size_t width = 0;
    std::map<std::string, std::uint64_t> values;
    std::map<std::uint64_t, std::string> texts;
};

/** The enumerations by their names, as they are documented. */
std::map<std::string, Enumeration> documented() {
    std::map<std::string, Enumeration> all;
    std::ifstream document(QUARLO_WIRE_DOCUMENT);
    const std::regex heading("### Enumeration (\\w+)");
    const std::regex carrier("Carried as UInt(\\d+).*");
    const std::regex row("\\| (\\w+) \\| `(e\\w+?_(\\w+))`( \\*)? \\| .*");
    std::string name;
    std::smatch found;
    for (std::string line; std::getline(document, line);) {
        if (std::regex_match(line, found, heading)) name = found[1];
        if (std::regex_match(line, found, carrier)) all[name].width = std::stoul(found[1]) / 8;
        if (!std::regex_match(line, found, row)) continue;
        const std::uint64_t value = std::stoull(found[1], nullptr, 0);
        EXPECT_TRUE(all[name].values.emplace(found[2], value).second) << found[2];
        if (!found[4].matched) all[name].texts[value] = found[3];
    }
    return all;
}

TEST(Enumerations, HaveTheirValues) {
    std::map<std::string, std::uint64_t> compiled = {
#define QUARLO_VALUE(enumerator, value, meaning) {#enumerator, enumerator},
#define QUARLO_UNPRINTED QUARLO_VALUE
#include "QUARLO.Connector.IVI-API-Enumerations.def"
    };
    EXPECT_EQ(compiled.size(), 250U);
    for (const auto& [name, enumeration] : documented()) {
        for (const auto& [enumerator, value] : enumeration.values) {
            EXPECT_EQ(compiled[enumerator], value) << enumerator;
            compiled.erase(enumerator);
        }
    }
    EXPECT_TRUE(compiled.empty());
}

TEST(Enumerations, HaveTheirWidths) {
    std::map<std::string, std::size_t> compiled = {
#define QUARLO_ENUM_BEGIN(Type, Wire, Printer) {#Type, sizeOf_##Type()},
#define QUARLO_MASK_BEGIN QUARLO_ENUM_BEGIN
#include "QUARLO.Connector.IVI-API-Enumerations.def"
    };
    for (const auto& [name, enumeration] : documented()) {
        EXPECT_EQ(compiled[name], enumeration.width) << name;
    }
}

/** Masks name single flags only, so "None", "All" and combinations are among the unknown. */
TEST(Enumerations, PrintTheirNamesAndNothingElse) {
    struct Printer {
        const char* type;
        std::size_t width;
        std::string (*print)(std::uint64_t value);
    };
#define PRINTER_NONE(Type)
#define PRINTER_OWN(Type)                                          \
    {#Type, sizeof(Type), [](std::uint64_t value) -> std::string { \
         return _quarlo_get##Type##Name(static_cast<Type>(value)); \
     }},
    const Printer printers[] = {
#define QUARLO_ENUM_BEGIN(Type, Wire, Printer) PRINTER_##Printer(Type)
#define QUARLO_MASK_BEGIN QUARLO_ENUM_BEGIN
#include "QUARLO.Connector.IVI-API-Enumerations.def"
    };
    EXPECT_EQ(std::size(printers), 40U);
    std::map<std::string, Enumeration> enumerations = documented();
    for (const Printer& each : printers) {
        SCOPED_TRACE(each.type);
        const auto& texts = enumerations[each.type].texts;
        const std::uint64_t end = each.width == 1 ? 0x100 : 0x10000;
        for (std::uint64_t value = 0; value < end; ++value) {
            const auto known = texts.find(value);
            ASSERT_EQ(each.print(value), known == texts.end() ? "unknown" : known->second);
        }
        if (each.width == 4) {
            EXPECT_EQ(each.print(0x80000001), "unknown");
        }
    }
}

}  // namespace
}  // namespace quarlo::test
