// Carries out builds, real and trial ones, and prints their progress and results.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_COMMANDS_PUBLISH_REPORT_H_
#define MTLLIB_TOOLS_MTLPUBLISH_COMMANDS_PUBLISH_REPORT_H_

#include "mtlpublish/commands/library_arguments.h"
#include "mtlpublish/publisher.h"

namespace mtlpublish {

/// Builds, or tries to, and shows how far it is, unless nobody looks.
PublishResult publishShown(const LibraryArguments& arguments, PublishOptions options);

/// Prints what is wrong on standard error, and returns the exit status.
int reportProblems(const PublishResult& result, const LibraryArguments& arguments);

/// Prints the result as was asked for, and returns the exit status.
int reportPublishing(const PublishResult& result, const LibraryArguments& arguments);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_COMMANDS_PUBLISH_REPORT_H_
