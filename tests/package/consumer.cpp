// The smallest host in C++: prints the library's version once the uncompressed screen is available.
#include <QUARLO-Core-Engineering-Types.h>
#include <QUARLO-Core.h>

#include <iostream>

int main() {
    quarlo_Init();
    std::cout << quarlo_GetVersion() << '\n';
    const UInt32 compressions = quarlo_Eng_GetSupportedCompressions();
    quarlo_Shutdown();
    return (compressions & eFRAMECOMPRESSION_Uncompressed) != 0 ? 0 : 1;
}
