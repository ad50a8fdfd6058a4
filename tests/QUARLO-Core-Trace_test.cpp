/* Trace lines, error reports, the dump, and printed names. */
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "Feature.h"
#include "QUARLO-Core-Utilities.h"

namespace quarlo::test {
namespace {

class Trace : public ::testing::Test {
  protected:
    Library library;
    Host host;

    /** What a function writes to the standard output. */
    template <class Function>
    static std::string printed(Function function) {
        ::testing::internal::CaptureStdout();
        function();
        std::fflush(stdout);
        return ::testing::internal::GetCapturedStdout();
    }
};

TEST_F(Trace, IsFilteredByItsClass) {
    const std::pair<unsigned, Lines> masks[] = {
        {0, {}},
        {2, {"WRN b"}},
        {3, {"ERR a", "WRN b"}},
        {4 | 32, {"INF c", "VRF f"}},
        {63, {"ERR a", "WRN b", "INF c", "VER d", "IFF e", "VRF f"}}};
    for (const auto& [mask, expected] : masks) {
        quarlo_SetTraceClass(host.handle(), static_cast<eTraceClass>(mask));
        host.forgetLines();
        for (int bit = 0; bit < 6; ++bit) {
            trace(host.record(), static_cast<eTraceClass>(1 << bit), "%c", 'a' + bit);
        }
        EXPECT_EQ(host.lines(), expected) << mask;
    }
    host.forgetLines();
    quarlo_SetTraceClass(host.handle(), eTRACECLASS_ERROR);
    quarlo_SetTraceClass(host.handle(), eTRACECLASS_VERBOSE);
    EXPECT_EQ(host.lines(), Lines{"VER     new class is 1"});
}

TEST_F(Trace, CutsItsLinesAtTheirBounds) {
    const std::string longText(3000, 'x');
    trace(host.record(), eTRACECLASS_WARNING, "%s", longText.c_str());
    traceShort(host.record(), eTRACECLASS_WARNING, "%s", longText.c_str());
    EXPECT_EQ(host.lines(),
              (Lines{"WRN " + std::string(1023, 'x'), "WRN " + std::string(127, 'x')}));
}

TEST_F(Trace, NeverReadsHostTextsAsFormats) {
    quarlo_PositionInformation(host.handle(), "%s%n%s%n");
    EXPECT_TRUE(host.has("VER %s%n%s%n"));
}

TEST_F(Trace, WritesTheDefaultOutput) {
    quarlo_SetTraceOutput(host.handle(), &_quarlo_traceOutCore);
    const auto speak = [&] {
        char text[] = "text";
        for (const unsigned traceClass : {0U, 1U, 2U, 4U, 8U, 16U, 32U, 64U, 3U}) {
            quarlo_Trace(host.handle(), static_cast<eTraceClass>(traceClass), text);
        }
    };
    EXPECT_EQ(printed(speak),
              "CORE  :     text\nCORE  : ERR text\nCORE  : WRN text\nCORE  : INF text\n"
              "CORE  : VER text\nCORE  : IFF text\nCORE  : VRF text\nCORE  :  ??? text\n"
              "CORE  :  ??? text\n");
}

TEST_F(Trace, ReportsErrorsUnlessShutdownIsAnnounced) {
    _errorCall(host.handle(), eERRORCODE_MEM_ALLOC);
    EXPECT_EQ(host.lines(), (Lines{"ERR error callback with code 'MEM_ALLOC'", "error MEM_ALLOC"}));
    host.forgetLines();
    quarlo_SetErrorCallback(host.handle(), nullptr);
    _errorCall(host.handle(), static_cast<eErrorCode>(12));
    EXPECT_TRUE(host.has("ERR error callback with code '*** UNKNOWN ***'"));
    EXPECT_TRUE(host.has("WRN no error callback function set."));
    host.forgetLines();
    quarlo_AnnounceShutdown(host.handle());
    _errorCall(host.handle(), eERRORCODE_PROTOCOL_STOP);
    EXPECT_EQ(host.lines(), (Lines{"ERR error callback with code 'PROTOCOL_STOP'",
                                   "WRN error function not called due to shutdown announced."}));
    _errorCall(nullptr, eERRORCODE_MEM_ALLOC);
}

TEST_F(Trace, NamesTheCoresEnumerations) {
    const auto names = [](int count, auto nameOf) {
        std::string text;
        for (int i = 0; i < count; ++i) text += std::string(nameOf(i)) + " ";
        return text;
    };
    EXPECT_EQ(names(13, [](int i) { return _quarlo_getErrorName(static_cast<eErrorCode>(i)); }),
              "NONE CONNECTION_TIMEOUT CONNECTION_EOF_ZERO PROTOCOL_STOP Z_DATA_ERROR MEM_ALLOC "
              "FRAME_SIZE_MISMATCH INITIALIZATION_TIMEOUT RECEIVER_START_FAILED "
              "MESSAGE_PROCESSING_FAILED JPEG_ERROR INITIALIZATION_ABORT *** UNKNOWN *** ");
    const auto result = [](int i) {
        return _quarlo_getReturnCodeName(static_cast<eReturnCode>(-i));
    };
    EXPECT_EQ(names(12, result),
              "OKAY NULL_PARAM PACKET_MEMORY STATE_NOT_RUN NULL_HANDLE PARAM_VALUE NOT_FOUND "
              "MEM_ALLOC NOT_SUPPORTED ALREADY_IN_LIST NOT_ALLOWED UNKNOWN ");
    const auto state = [](int i) { return _quarlo_getStateName(static_cast<eProtocolState>(i)); };
    EXPECT_EQ(names(8, state),
              "NONE HANDSHAKE INIT_CLIENT INIT_SERVER INIT_DONE RUN STOP *** UNKNOWN *** ");
}

TEST_F(Trace, PrintsStringsAndLanguages) {
    UInt8 content[] = {'h', 'i', '!'};
    qrString string{eSTRINGENCODING_ASCII_LATIN1, 2, content};
    UInt8 code[] = {'e', 'n', 'g'};
    const auto print = [&] {
        _quarlo_PrintString(&string);
        _quarlo_PrintLanguage(code);
        _quarlo_PrintString(nullptr);
        _quarlo_PrintLanguage(nullptr);
    };
    EXPECT_EQ(printed(print), "[ASCII_LATIN1] hi\nISO 639-2 language code ='eng'.\n");
}

TEST_F(Trace, DumpsTextWithItsColumns) {
    Bytes bytes;
    for (unsigned i = 0; i < 33; ++i) bytes.push_back(static_cast<std::uint8_t>(0xA0 + i));
    const auto dump = [&] {
        quarlo_SetDumpProperties(host.handle(), 1, 1, 1, nullptr);
        _quarlo_DumpBuffer(host.record(), bytes.data(), bytes.size(), 0);
        _quarlo_DumpBuffer(host.record(), bytes.data(), 2, 1);
        _quarlo_DumpBuffer(host.record(), bytes.data(), 0, 1);
        _quarlo_DumpBuffer(host.record(), nullptr, 2, 1);
        _quarlo_DisableDump(host.record());
    };
    EXPECT_EQ(printed(dump),
              "R> A0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB AC AD AE AF  "
              "B0 B1 B2 B3 B4 B5 B6 B7 B8 B9 BA BB BC BD BE BF  \n   C0 \nW> A0 A1 \n");
    EXPECT_EQ(host.record()->dumpEnabled, 0);
    // In text to the standard output for a file that cannot be opened, whatever was asked for.
    const auto fallBack = [&] {
        char path[] = "/nonexistent-folder/dump.bin";
        quarlo_SetDumpProperties(host.handle(), 1, 0, 0, path);
        _quarlo_DumpBuffer(host.record(), bytes.data(), 1, 1);
    };
    EXPECT_EQ(printed(fallBack), "W> A0 \n");
    EXPECT_EQ(host.record()->dumpToStdDevice, 1);
}

TEST_F(Trace, DumpsBothDirectionsRawToAFile) {
    std::string path = ::testing::TempDir() + "quarlo_dump_test.bin";
    quarlo_SetDumpProperties(host.handle(), 1, 0, 0, path.data());
    host.run();
    quarlo_SetDumpProperties(host.handle(), 0, 0, 0, nullptr);
    const Bytes first = packet(1, u16(1) + u16(2) + u16(0)) + packet(2, u8(1));
    std::ifstream file(path, std::ios::binary);
    const Bytes dump{std::istreambuf_iterator<char>(file), {}};
    std::remove(path.c_str());
    std::size_t whole = Host::serverInit().size() + packet(2, u8(1)).size() * 3 + 13;
    for (const Bytes& sent : host.sent()) whole += sent.size();
    ASSERT_EQ(dump.size(), whole);
    EXPECT_EQ(hex(part(dump, 0, first.size())), hex(first));
}

TEST_F(Trace, SendBufferTakesItsBuffer) {
    const auto buffer = [] { return static_cast<UInt8*>(quarlo_malloc(4)); };
    _quarlo_SendBuffer(nullptr, buffer(), 4);
    _quarlo_SendBuffer(host.handle(), nullptr, 4);
    EXPECT_EQ(host.lines(),
              (Lines{"IFF Send Buffer",
                     "WRN Do not call _SendBuffer() with NULL or zero-sized buffer."}));
    quarlo_SetSenderLink(host.handle(), nullptr);
    _quarlo_SendBuffer(host.handle(), buffer(), 4);
    EXPECT_TRUE(host.sent().empty());
}

}  // namespace
}  // namespace quarlo::test
