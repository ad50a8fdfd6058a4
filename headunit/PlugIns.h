/*
 * What became of plug-ins that the library did not load: the loader's own words for each file that
 * it tried. Stateless; any thread, between quarlo_Init and quarlo_Shutdown.
 */
#ifndef HEADUNIT_PLUGINS_H
#define HEADUNIT_PLUGINS_H

#include <string>
#include <vector>

#include "QUARLO-Core-Types.h"

namespace quarlo::headunit {

/** Lines for the log about each of these compressions that no plug-in decodes; none if all is well.
 */
std::vector<std::string> missingPlugIns(FrameCompression wanted);

}  // namespace quarlo::headunit

#endif
