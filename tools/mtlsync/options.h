// The command line.
#ifndef MTLLIB_TOOLS_MTLSYNC_OPTIONS_H_
#define MTLLIB_TOOLS_MTLSYNC_OPTIONS_H_

#include <string>

#include "mtllib/downloader_settings.h"
#include "mtlsync/size_limits.h"

namespace mtlsync {

enum class Verbosity { kQuiet, kNormal, kVerbose };

enum class Mode {
  kSync,
  kCheck,   ///< Only tells whether an update exists.
  kRepair,  ///< Synchronises, and fetches what is missing or damaged, too.
  kVerify,  ///< Only tells what is missing or damaged.
  kStatus   ///< Only tells what the copy is, without the network.
};

struct Options {
  std::string url;  ///< "" with kStatus.
  std::string directory;
  std::string subPath;
  ProxyMode proxyMode = PROXY_MODE_SYSTEM;
  std::string proxyAddress;
  std::string moduleFile;  ///< "" leaves it to the kit.
  Verbosity verbosity = Verbosity::kNormal;
  SizeLimits limits;
  Mode mode = Mode::kSync;
  bool json = false;
};

struct CommandLine {
  enum class Outcome {
    kRun,        ///< `options` say what is wanted.
    kShowText,   ///< Print `text`, the help or the version, and that is all.
    kWrongUsage  ///< `text` says in one line what is wrong.
  };
  Outcome outcome = Outcome::kRun;
  Options options;
  std::string text;
};

/// Takes the program's arguments, its own name among them. Never throws, but for
/// std::bad_alloc.
CommandLine parseCommandLine(int argumentCount, const char* const* arguments);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_OPTIONS_H_
