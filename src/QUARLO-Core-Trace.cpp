/*
 * Trace lines, error reports, the byte dump and the printed names of the core's enumerations. Every
 * thread formats its lines on its own stack; dumpLock guards the dump file and keeps dumps of
 * several threads apart.
 */
#include <cstdarg>
#include <cstring>

#include "QUARLO-Core-Utilities.h"
#include "QUARLO.Connector.IVI-API_C.h"

FILE* logOut = nullptr;

namespace quarlo {

namespace {

constexpr unsigned shortTraceBufferSize = 128;

template <std::size_t N>
void format(char (&buffer)[N], const char* text, va_list arguments)
    __attribute__((format(printf, 2, 0)));
template <std::size_t N>
void format(char (&buffer)[N], const char* text, va_list arguments) {
    std::vsnprintf(buffer, N, text, arguments);
}

constexpr const char* stateNames[] = {"NONE",      "HANDSHAKE", "INIT_CLIENT", "INIT_SERVER",
                                      "INIT_DONE", "RUN",       "STOP"};
constexpr const char* errorNames[] = {"NONE",
                                      "CONNECTION_TIMEOUT",
                                      "CONNECTION_EOF_ZERO",
                                      "PROTOCOL_STOP",
                                      "Z_DATA_ERROR",
                                      "MEM_ALLOC",
                                      "FRAME_SIZE_MISMATCH",
                                      "INITIALIZATION_TIMEOUT",
                                      "RECEIVER_START_FAILED",
                                      "MESSAGE_PROCESSING_FAILED",
                                      "JPEG_ERROR",
                                      "INITIALIZATION_ABORT"};
constexpr const char* returnNames[] = {
    "OKAY",      "NULL_PARAM", "PACKET_MEMORY", "STATE_NOT_RUN",   "NULL_HANDLE", "PARAM_VALUE",
    "NOT_FOUND", "MEM_ALLOC",  "NOT_SUPPORTED", "ALREADY_IN_LIST", "NOT_ALLOWED"};

// Deliberate: the interface hands these constants out as char*, for hosts whose own functions take
// that.
char* lent(const char* constant) {
    return const_cast<char*>(constant);
}

template <std::size_t N>
char* nameOf(const char* const (&names)[N], int value, const char* otherwise) {
    return lent(value >= 0 && value < static_cast<int>(N) ? names[value] : otherwise);
}

const char* prefixOf(eTraceClass traceClass) {
    switch (static_cast<unsigned>(traceClass)) {
        case eTRACECLASS_NONE:
            return "    ";
        case eTRACECLASS_ERROR:
            return "ERR ";
        case eTRACECLASS_WARNING:
            return "WRN ";
        case eTRACECLASS_INFORMATION:
            return "INF ";
        case eTRACECLASS_VERBOSE:
            return "VER ";
        case eTRACECLASS_INF_FRAME:
            return "IFF ";
        case eTRACECLASS_VER_FRAME:
            return "VRF ";
        default:
            return " ??? ";
    }
}

void dumpAsText(FILE* device, const UInt8* buffer, std::size_t size, bool isWrite) {
    std::fputs(isWrite ? "W> " : "R> ", device);
    for (std::size_t i = 1; i <= size; ++i) {
        std::fprintf(device, "%2.2X ", static_cast<unsigned>(buffer[i - 1]));
        if (i % 16 == 0) std::fputc(' ', device);
        if (i % 32 == 0) std::fputs("\n   ", device);
    }
    std::fputc('\n', device);
}

/** Ends a running dump; the caller holds dumpLock. */
void closeDump(quarlo_CoreInstance* obj) {
    obj->dumpEnabled = eFLAG_FALSE;
    if (obj->theDumpFile != nullptr && obj->dumpToStdDevice != eFLAG_TRUE) {
        std::fclose(obj->theDumpFile);
        obj->theDumpFile = nullptr;
        obj->dumpToStdDevice = eFLAG_TRUE;
    }
}

void openDump(quarlo_CoreInstance* obj, Flag isStdDevice, UInt8 device, const char* fileName) {
    obj->dumpToStdDevice = isStdDevice;
    if (isStdDevice == eFLAG_TRUE) {
        obj->theDumpFile = device == 2 ? stderr : stdout;
        return;
    }
    const char* name = fileName != nullptr ? fileName : "/tmp/QUARLO-Core-Dump.bin";
    obj->theDumpFile = quarlo_fopen(name, "ab");
    if (obj->theDumpFile != nullptr) return;
    obj->theDumpFile = stdout;
    obj->dumpToStdDevice = eFLAG_TRUE;
}

class DumpLock {
  public:
    explicit DumpLock(quarlo_CoreInstance* obj) : lock(&obj->dumpLock) {
        quarloThread_mutex_lock(lock);
    }
    ~DumpLock() { quarloThread_mutex_unlock(lock); }
    DumpLock(const DumpLock&) = delete;
    DumpLock& operator=(const DumpLock&) = delete;

  private:
    quarloThread_mutex_t* lock;
};

}  // namespace

void trace(quarlo_CoreInstance* obj, eTraceClass traceClass, const char* text, ...) {
    if (obj == nullptr || !traces(obj, traceClass)) return;
    char traceBuffer[traceBufferSize];
    va_list arguments;
    va_start(arguments, text);
    format(traceBuffer, text, arguments);
    va_end(arguments);
    quarlo_Trace(obj, traceClass, traceBuffer);
}

void traceShort(quarlo_CoreInstance* obj, eTraceClass traceClass, const char* text, ...) {
    if (obj == nullptr || !traces(obj, traceClass)) return;
    char shortTraceBuffer[shortTraceBufferSize];
    va_list arguments;
    va_start(arguments, text);
    format(shortTraceBuffer, text, arguments);
    va_end(arguments);
    quarlo_Trace(obj, traceClass, shortTraceBuffer);
}

}  // namespace quarlo

using namespace quarlo;

extern "C" {

void quarlo_Trace(void* instanceHandle, eTraceClass traceClass, char* text) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        // The output is the host's code, but it is short and often holds locks: never cancelled
        // there.
        quarloTraceOutput output = obj->traceOutput;
        if (output == nullptr) return;
        ++thisThread.callbacks;
        output(obj->callbackContext, traceClass, text);
        --thisThread.callbacks;
    });
}

void quarlo_SetTraceOutput(void* instanceHandle, quarloTraceOutput traceOutput) {
    store(instanceHandle, &quarlo_CoreInstance::traceOutput, traceOutput, nullptr);
}

void quarlo_SetTraceClass(void* instanceHandle, eTraceClass traceClass) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_VERBOSE, "    new class is %d", traceClass);
        obj->traceClass = traceClass;
    });
}

char* quarlo_getTraceClassPrefix(eTraceClass traceClass) {
    return lent(prefixOf(traceClass));
}

void _quarlo_traceOutCore(void*, eTraceClass traceClass, char* text) {
    if (logOut == nullptr) return;
    std::fprintf(logOut, "CORE  : %s%s\n", quarlo_getTraceClassPrefix(traceClass), text);
}

char* _quarlo_getReturnCodeName(eReturnCode code) {
    return nameOf(returnNames, -static_cast<int>(code), "UNKNOWN");
}

char* _quarlo_getStateName(eProtocolState state) {
    return nameOf(stateNames, static_cast<int>(state), "*** UNKNOWN ***");
}

char* _quarlo_getErrorName(eErrorCode code) {
    return nameOf(errorNames, static_cast<int>(code), "*** UNKNOWN ***");
}

void _errorCall(void* instanceHandle, eErrorCode code) {
    auto* obj = static_cast<quarlo_CoreInstance*>(instanceHandle);
    if (obj == nullptr) return;
    traceShort(obj, eTRACECLASS_ERROR, "error callback with code '%s'", _quarlo_getErrorName(code));
    if (obj->shutdownAnnounced) {
        trace(obj, eTRACECLASS_WARNING, "error function not called due to shutdown announced.");
    } else if (!notify(obj, obj->errorCallback, code)) {
        trace(obj, eTRACECLASS_WARNING, "no error callback function set.");
    }
}

void quarlo_SetDumpProperties(void* instanceHandle, Flag enable, Flag isStdDevice, UInt8 device,
                              char* fileName) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        const DumpLock lock(obj);
        closeDump(obj);
        if (enable == 0) return;
        openDump(obj, isStdDevice, device, fileName);
        obj->dumpEnabled = enable;
    });
}

void _quarlo_DisableDump(quarlo_CoreInstance* handle) {
    if (handle == nullptr) return;
    const DumpLock lock(handle);
    closeDump(handle);
}

void _quarlo_DumpBuffer(quarlo_CoreInstance* handle, UInt8* buffer, size_t bufferSize,
                        Flag isWrite) {
    if (handle == nullptr) return;
    const DumpLock lock(handle);
    if (handle->theDumpFile == nullptr || buffer == nullptr || bufferSize == 0) return;
    if (handle->dumpToStdDevice == eFLAG_TRUE) {
        dumpAsText(handle->theDumpFile, buffer, bufferSize, isWrite != 0);
    } else {
        std::fwrite(buffer, 1, bufferSize, handle->theDumpFile);
    }
}

void _quarlo_PrintString(qrString* string) {
    if (string == nullptr) return;
    std::printf("[%s] %.*s\n", _quarlo_getStringEncodingName(string->Encoding), lengthOf(string),
                bytesOf(string));
}

void _quarlo_PrintLanguage(UInt8* code) {
    if (code == nullptr) return;
    std::printf("ISO 639-2 language code ='%c%c%c'.\n", code[0], code[1], code[2]);
}

}  // extern "C"
