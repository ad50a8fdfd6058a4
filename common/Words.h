/*
 * Takes the words of a script's line one by one. The first that is wrong makes all of it wrong, so
 * that a reader asks once, at the end. Used by whoever reads the line.
 */
#ifndef COMMON_WORDS_H
#define COMMON_WORDS_H

#include <string>
#include <string_view>
#include <vector>

#include "Names.h"

namespace quarlo {
inline namespace common {

class Words {
  public:
    explicit Words(std::string_view line);

    bool isEmpty() const { return left.empty(); }
    /** Whether every word was right and none is left. */
    bool areRight() const { return !isWrong && left.empty(); }
    void refuse() { isWrong = true; }
    /** @param allowed what is allowed where the wrong word stands */
    void refuse(const std::string& allowed) {
        if (!isWrong) reason = allowed;
        isWrong = true;
    }
    /** What is allowed instead, as far as was said. */
    const std::string& allowed() const { return reason; }

    /** Wrong when there is none. */
    std::string_view next();
    /** All that is left, with the blanks in it. */
    std::string rest();

    /** Decimal, or hexadecimal after 0x. */
    UInt64 number(UInt64 maximum);
    /** A duration in milliseconds, up to ten minutes. */
    unsigned milliseconds();
    UInt16 coordinate();
    bool isOn();
    /**
     * All that is left as a text, which may have blanks, and the time of a "timeout MS" behind it.
     * @return nothing where no time is said
     */
    std::optional<unsigned> timeoutBehind(std::string& text);
    /** Pairs of hexadecimal digits; no word gives no bytes. */
    std::vector<UInt8> bytes(std::size_t maximum);

    /** The value of that name. */
    template <typename Type>
    Type named() {
        return taken(wireValue<Type>(next()), Type{});
    }
    /** The same, or the other value if no word is left. */
    template <typename Type>
    Type namedOr(Type other) {
        return isEmpty() ? other : named<Type>();
    }
    /** What the function makes of the next word. */
    template <typename Value>
    Value parsed(std::optional<Value> (*parse)(std::string_view)) {
        return taken(parse(next()), Value{});
    }

  private:
    template <typename Value>
    Value taken(std::optional<Value> value, Value instead) {
        if (!value) refuse();
        return value.value_or(instead);
    }

    std::string_view left;
    bool isWrong = false;
    std::string reason;
};

}  // namespace common
}  // namespace quarlo

#endif
