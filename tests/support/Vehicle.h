/* A host in RUN that delivers vehicle data, and the phone's side of it. */
#ifndef QUARLO_TESTS_VEHICLE_H
#define QUARLO_TESTS_VEHICLE_H

#include <numeric>

#include "Calls.h"
#include "QUARLO-Core-Engineering-Types.h"

namespace quarlo::test {

using Keys = std::vector<UInt32>;

inline Keys range(UInt32 first, UInt32 last) {
    Keys keys(last - first + 1);
    std::iota(keys.begin(), keys.end(), first);
    return keys;
}

inline Bytes wanted(const Keys& keys) {
    Bytes payload = u8(static_cast<unsigned>(keys.size()));
    for (const UInt32 key : keys) payload = payload + u32(key);
    return packet(54, payload);
}

/** What the host is told; the callback's line. */
inline std::string told(bool isOn, const Keys& keys) {
    return std::string("VehicleDataRequest ") + (isOn ? "1 " : "0 ") + std::to_string(keys.size()) +
           wordOf(keys.data(), keys.size());
}

/** A host in RUN that notes what it is to deliver. */
class Vehicle : public Session {
  public:
    explicit Vehicle(bool isInRun = true) : Session(isInRun) {
        listenTo<Callback::VehicleDataRequest>(quarlo_SetVehicleDataRequestCallback);
    }
    /** What the host is told of when the phone wants these keys. */
    Lines want(const Keys& keys) {
        const Lines lines = hear(wanted(keys));
        EXPECT_EQ(lines.at(0), "INF SetVehicleDataFilter requests data for " +
                                   std::to_string(keys.size()) + " keys");
        return {lines.begin() + 1, lines.end()};
    }
    Lines set(bool isTold, Keys keys) {
        return call(quarlo_Eng_SetVehicleDataFilter, isTold ? 1 : 0,
                    static_cast<UInt8>(keys.size()), keys.data());
    }
    Lines give(UInt32 key, const std::string& json) {
        return call(quarlo_VehicleData, key, eSTRINGENCODING_ASCII_LATIN1, json.c_str());
    }
    [[nodiscard]] Keys filter() const {
        return {record()->vehicleDataKeyList,
                record()->vehicleDataKeyList + record()->vehicleDataKeyListLength};
    }
    /** The stored items: "key=value", or "key" without a value. */
    [[nodiscard]] Lines items() const {
        Lines result;
        genericList& list = record()->vehicleDataList;
        for (auto* at = list.head.next; at != &list.tail; at = at->next) {
            const auto& item = *reinterpret_cast<vehicleDataItem*>(at);
            std::string line = std::to_string(item.key);
            if (item.value != nullptr) {
                line += "=" + std::string(item.value->pContent,
                                          item.value->pContent + item.value->Length);
            }
            result.push_back(line);
        }
        return result;
    }
};

}  // namespace quarlo::test

#endif
