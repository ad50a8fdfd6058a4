/**
 * @file
 * The people and places that the phone knows. Constant.
 */
#ifndef QUARLO_PHONE_SERVICEDATA_H
#define QUARLO_PHONE_SERVICEDATA_H

#include <array>

namespace quarlo::phone {

struct Contact {
    const char* name;
    const char* number;
};
constexpr std::array<Contact, 5> contacts{{{"Ada Lindqvist", "+4615550101"},
                                           {"Bruno Keller", "+4915550102"},
                                           {"Chloé Martin", "+3315550103"},
                                           {"Dario Conti", "+3915550104"},
                                           {"Workshop", "+4915550105"}}};

/** Coordinates are millionths of a degree; a place may lack them or the address. */
struct Place {
    const char* name;
    const char* country;
    const char* zip;
    const char* city;
    const char* street;
    const char* number;
    int latitude;
    int longitude;
};
constexpr std::array<Place, 4> places{
    {{"Home", "Germany", "80331", "München", "Seestraße", "7", 48137154, 11576124},
     {"Office", "Germany", "10117", "Berlin", "Lange Straße", "12a", 52520008, 13404954},
     {"Lake view point", "", "", "", "", "", 48200000, 11100000},
     {"Paper Lantern Café", "France", "67000", "Strasbourg", "Rue du Lac", "3", 0, 0}}};

}  // namespace quarlo::phone

#endif
