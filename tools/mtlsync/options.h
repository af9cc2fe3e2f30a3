// The options of the command line.
#ifndef MTLLIB_TOOLS_MTLSYNC_OPTIONS_H_
#define MTLLIB_TOOLS_MTLSYNC_OPTIONS_H_

#include <chrono>
#include <string>
#include <vector>

#include "mtlhost/network.h"
#include "mtlhost/trust.h"
#include "mtlhost/update.h"
#include "mtllib/downloader_settings.h"

namespace mtlsync {

enum class Verbosity { kQuiet, kNormal, kVerbose };

enum class Mode {
  kSync,
  kCheck,   ///< Only reports whether an update exists.
  kPlan,    ///< Only reports what an update would do.
  kRepair,  ///< Synchronises, and fetches what is missing or damaged, too.
  kVerify,  ///< Only reports what is missing or damaged.
  kStatus   ///< Only reports what the copy is, without the network.
};

struct Options {
  std::string url;  ///< "" with kStatus, and may be so with kVerify.
  std::string directory;
  std::string subPath;
  ProxyMode proxyMode = PROXY_MODE_SYSTEM;
  std::string proxyAddress;
  std::string moduleFile;  ///< "" for the engine.
  Verbosity verbosity = Verbosity::kNormal;
  mtlhost::UpdateSettings update{};
  mtlhost::TrustSettings trust{};
  std::vector<std::string> mirrors{};
  mtlhost::NetworkSettings network{};
  std::chrono::seconds mostDelay{0};  ///< Before anything is done, a random part of it.
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

/// Whether the engine does what is wanted, not the module.
inline bool usesEngine(const Options& options) {
  return options.moduleFile.empty();
}

/// Takes the program's arguments, its own name among them. Never throws, but for
/// std::bad_alloc.
CommandLine parseCommandLine(int argumentCount, const char* const* arguments);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_OPTIONS_H_
