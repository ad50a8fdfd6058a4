/*
 * What the phone parks with the head unit: blocks that last as long as the program, and others that
 * a file keeps for the next time. The receiver thread uses it.
 */
#ifndef HEADUNIT_STORE_H
#define HEADUNIT_STORE_H

#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "QUARLO-Core-Types.h"

namespace quarlo::headunit {

/** Blocks up to a quota; what does not fit is refused. */
class Blocks {
  public:
    static constexpr std::size_t quota = std::size_t{4} << 20;

    /** Replaces what was kept there. @return whether it fitted */
    bool keep(UInt16 identifier, std::span<const UInt8> bytes);
    const std::vector<UInt8>* find(UInt16 identifier) const;
    void erase(UInt16 identifier);
    const std::map<UInt16, std::vector<UInt8>>& all() const { return blocks; }

  private:
    std::map<UInt16, std::vector<UInt8>> blocks;
    std::size_t used = 0;
};

class HostStore {
  public:
    /** @param file where lasting blocks are kept; empty for nowhere. One that cannot be used is
     * left alone, and nothing is kept there. */
    explicit HostStore(std::string file = {});
    /** Whether this is the name of a store, or one may be made there: nothing of that name holds
     * anything yet. */
    static bool canUse(const std::string& file);

    struct Outcome {
        const char* remark;
        std::optional<std::vector<UInt8>> answer;  ///< to be sent to the phone
    };

    Outcome apply(ServerCustomDataRawType operation, UInt16 identifier,
                  std::span<const UInt8> bytes);

  private:
    Outcome keep(Blocks& blocks, UInt16 identifier, std::span<const UInt8> bytes);
    static Outcome fetch(const Blocks& blocks, UInt16 identifier);
    Outcome forget(Blocks& blocks, UInt16 identifier);
    void load();
    /** @return whether it is in the file, if there is one */
    bool save(const Blocks& changed) const;

    const std::string file;
    Blocks passing;
    Blocks lasting;
};

}  // namespace quarlo::headunit

#endif
