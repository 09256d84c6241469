#ifndef QuillmarshEngine_tools_asset_PackCommands_h
#define QuillmarshEngine_tools_asset_PackCommands_h

/* pack (a model file into one data file, through the scene importer) and dump (records as
   text), and the scene summary info prints. Exit codes as the rest of the tool: 0 done, 1 a file
   that can't be read, imported or is not valid. */

#include <span>
#include <string>

namespace QuillmarshEngine { namespace AssetTool {

/* Imports in and writes the data file to out. Shows a progress bar on a terminal, plain
   progress lines otherwise, and a summary table at the end. */
int packCommand(const std::string& in, const std::string& out, bool quantize, bool compress);

/* Validates the file, then prints chunk `chunk` (every chunk when negative) as text */
int dumpCommand(const std::string& path, long long chunk);

/* Sections of a scene record payload with their component counts; a broken record is named */
void printSceneSummary(std::span<const char> payload);

}}

#endif
