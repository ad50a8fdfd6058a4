/*
 * What only the head unit is told on its command line: changes of a session, and what the library
 * may trace. Pure functions.
 */
#ifndef HEADUNIT_VALUES_H
#define HEADUNIT_VALUES_H

#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "QUARLO-Core-Types.h"
#include "common/Values.h"

namespace quarlo::headunit {

struct SetFormat {
    PixelFormat format;
};
struct SetOrder {
    PixelEndianess order;
};
struct SetSize {
    Size size;
};
struct SetCompression {
    FrameCompression compression;
};
struct SetSuspended {
    bool isSuspended;
};
/** Nothing is to be different, but what is shown next is to be newer than this. */
struct Refresh {};
using Change = std::variant<SetFormat, SetOrder, SetSize, SetCompression, SetSuspended, Refresh>;

/** What frames look like. */
struct Frame {
    Size size;
    PixelLayout layout;
    FrameCompression compression = eFRAMECOMPRESSION_None;
};
/** What they look like with the change. */
Frame with(const Change& change, Frame frame);

/** A change of the running session, made after the update of that number; 0: when RUN is reached.
 */
struct Command {
    unsigned update = 0;
    Change change;
    std::string text;
};

extern const char* const supportedWords;
extern const char* const traceWords;
extern const char* const commandWords;

/* Each gives nothing for a text that is not allowed; the words above say what is. */
std::optional<FrameCompression> parseSupported(std::string_view text);
std::optional<eTraceClass> parseTrace(std::string_view text);
std::optional<Command> parseCommand(std::string_view text);

}  // namespace quarlo::headunit

#endif
