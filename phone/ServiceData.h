/**
 * @file
 * The people and places that the phone knows, and what it can send of its own. Constant.
 */
#ifndef PHONE_SERVICEDATA_H
#define PHONE_SERVICEDATA_H

#include <array>

#include "QUARLO.Connector.IVI-API-Types_C.h"

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

/** What the link app sends in packets of custom data: one row of it each. */
struct Shipment {
    const char* name;
    const char* english;
    const char* german;
    const char* french;
    CustomDataEvent event;
    UInt16 type;
};
constexpr std::array<Shipment, 15> shipments{{
    {"Name", "sends a text", "schickt einen Text", "envoie un texte", eCUSTOMDATAEVENT_String,
     eSERVERCUSTOMDATASTRINGTYPE_BTName},
    {"Bundle", "sends another text", "schickt noch einen Text", "envoie un autre texte",
     eCUSTOMDATAEVENT_String, eSERVERCUSTOMDATASTRINGTYPE_BundleIdiOS},
    {"Battery", "sends a number", "schickt eine Zahl", "envoie un nombre", eCUSTOMDATAEVENT_Int,
     eSERVERCUSTOMDATAINTTYPE_BatteryLevel},
    {"Volume up", "sends a key", "schickt eine Taste", "envoie une touche", eCUSTOMDATAEVENT_Key,
     eSERVERCUSTOMDATAKEYTYPE_Click},
    {"Ambient light", "sends a bus message", "schickt eine Busnachricht", "envoie une trame",
     eCUSTOMDATAEVENT_Can, eSERVERCUSTOMDATACANTYPE_CanAmbientlight},
    {"Session: park", "stores bytes", "legt Bytes ab", "dépose des octets", eCUSTOMDATAEVENT_Raw,
     eSERVERCUSTOMDATARAWTYPE_StoreInstance},
    {"Session: fetch", "asks for them", "holt sie zurück", "les redemande", eCUSTOMDATAEVENT_Raw,
     eSERVERCUSTOMDATARAWTYPE_GetInstance},
    {"Everyone: park", "stores bytes", "legt Bytes ab", "dépose des octets", eCUSTOMDATAEVENT_Raw,
     eSERVERCUSTOMDATARAWTYPE_StoreCore},
    {"Everyone: fetch", "asks for them", "holt sie zurück", "les redemande", eCUSTOMDATAEVENT_Raw,
     eSERVERCUSTOMDATARAWTYPE_GetCore},
    {"For good: park", "stores bytes", "legt Bytes ab", "dépose des octets", eCUSTOMDATAEVENT_Raw,
     eSERVERCUSTOMDATARAWTYPE_StorePersistent},
    {"For good: fetch", "asks for them", "holt sie zurück", "les redemande", eCUSTOMDATAEVENT_Raw,
     eSERVERCUSTOMDATARAWTYPE_GetPersistent},
    {"For good: delete", "forgets them", "vergisst sie", "les oublie", eCUSTOMDATAEVENT_Raw,
     eSERVERCUSTOMDATARAWTYPE_DeletePersistent},
    {"Head unit: park", "stores bytes", "legt Bytes ab", "dépose des octets", eCUSTOMDATAEVENT_Raw,
     eSERVERCUSTOMDATARAWTYPE_StoreHost},
    {"Head unit: fetch", "asks for them", "holt sie zurück", "les redemande", eCUSTOMDATAEVENT_Raw,
     eSERVERCUSTOMDATARAWTYPE_GetHost},
    {"Head unit: delete", "forgets them", "vergisst sie", "les oublie", eCUSTOMDATAEVENT_Raw,
     eSERVERCUSTOMDATARAWTYPE_DeleteHost},
}};

}  // namespace quarlo::phone

#endif
