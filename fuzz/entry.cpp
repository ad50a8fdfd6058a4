// Where the fuzzing engine, or the driver, enters a target.
#include "Input.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    quarlo::fuzz::Input in(data, size);
    quarlo::fuzz::play(in);
    return 0;
}
