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

inline std::string lineOf(bool isOn, const Keys& keys) {
    std::string line = isOn ? "on" : "off";
    for (const UInt32 key : keys) line += " " + std::to_string(key);
    return line;
}

/** A host in RUN that notes what it is to deliver. */
class Vehicle : public Session {
  public:
    Vehicle() {
        EXPECT_EQ(quarlo_SetVehicleDataRequestCallback(handle(), &Vehicle::onRequest),
                  eRETURN_OKAY);
        EXPECT_EQ(host.lines(), Lines{});
    }
    /** What the host is told of when the phone wants these keys. */
    Lines want(const Keys& keys) {
        hear(wanted(keys));
        EXPECT_TRUE(host.has("INF SetVehicleDataFilter requests data for " +
                             std::to_string(keys.size()) + " keys"));
        return host.linesWith("o");
    }
    eReturnCode set(bool isTold, Keys keys) {
        return quarlo_Eng_SetVehicleDataFilter(handle(), isTold ? 1 : 0,
                                               static_cast<UInt8>(keys.size()), keys.data());
    }
    eReturnCode give(UInt32 key, const std::string& json) {
        return quarlo_VehicleData(handle(), key, eSTRINGENCODING_ASCII_LATIN1, json.c_str());
    }
    Lines giveLines(UInt32 key, const std::string& json, eReturnCode expected) {
        return during([&] { EXPECT_EQ(give(key, json), expected); });
    }
    [[nodiscard]] Keys filter() const {
        const quarlo_CoreInstance& record = *host.record();
        return {record.vehicleDataKeyList,
                record.vehicleDataKeyList + record.vehicleDataKeyListLength};
    }
    /** The stored items: "key=value", or "key" without a value. */
    [[nodiscard]] Lines items() const {
        Lines result;
        genericList& list = host.record()->vehicleDataList;
        for (auto* at = listGetFirstElement(&list); at != nullptr; at = listGetNextElement(&list)) {
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

  private:
    static void onRequest(void* context, Flag isOn, UInt8 count, UInt32* keys) {
        hostOf(context).note(lineOf(isOn != 0, Keys(keys, keys + count)));
    }
};

}  // namespace quarlo::test

#endif
