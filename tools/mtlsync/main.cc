// mtlsync: keeps a local copy of a material library up to date, from the command line.
#include <exception>
#include <iostream>

#include "common/system.h"
#include "mtlsync/options.h"
#include "mtlsync/sync_run.h"
#include "rules/printable.h"

namespace {

using mtlsync::CommandLine;

int run(const common::Arguments& arguments) {
  const CommandLine line = mtlsync::parseCommandLine(arguments.count(), arguments.values());
  switch (line.outcome) {
    case CommandLine::Outcome::kWrongUsage:
      std::cerr << "mtlsync: " + line.text + "\nRun mtlsync --help for more information.\n";
      return mtlsync::kExitWrongUsage;
    case CommandLine::Outcome::kShowText:
      std::cout << line.text;
      return mtlsync::kExitDone;
    case CommandLine::Outcome::kRun:
      break;
  }
  common::catchStopSignals();
  return mtlsync::runSync(line.options);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const common::StandardStreams streams;
    common::surviveBrokenPipes();
    const int status = run(common::Arguments(argc, argv));
    if (std::cout.flush()) return status;
    std::cerr << "mtlsync: error: could not write to standard output\n";
    return status == mtlsync::kExitDone || status == mtlsync::kExitUpdateAvailable
               ? mtlsync::kExitFailed
               : status;
  } catch (const std::exception& error) {
    std::cerr << "mtlsync: error: " + mtlrules::printableLine(error.what()) + '\n';
    return mtlsync::kExitFailed;
  }
}
