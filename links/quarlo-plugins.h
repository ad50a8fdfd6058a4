/**
 * @file
 * Why plug-ins are missing. The library skips them without a word; a host that wants compressed
 * frames can say here which file was to decode them, where it was looked for, and what was wrong.
 */
#ifndef QUARLO_PLUGINS_H
#define QUARLO_PLUGINS_H

#include "QUARLO-Core.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Is told one line for people.
 * @param line valid during the call
 */
typedef void (*quarloLineCallback)(void* context, const char* line);

/**
 * Explains which compressions no plug-in decodes: what the library was to open for each of them,
 * and the loader's own words about every place where it looked. JPEG and zlib are explained, others
 * are only returned. What quarlo_SetSupportedCompressions has closed counts as missing. From any
 * thread between quarlo_Init and quarlo_Shutdown.
 * @param wanted the compressions that the host will ask for, or eFRAMECOMPRESSION_None
 * @param line told of each line, in this call; may be null
 * @param context its first argument
 * @return those of them that no plug-in decodes
 */
QUARLO_API FrameCompression quarloPlugIns_Explain(FrameCompression wanted, quarloLineCallback line,
                                                  void* context);

#ifdef __cplusplus
}
#endif

#endif
