// Explains failures to users: their kind, what they are about, a sentence, and what to do.
#ifndef MTLLIB_HOST_SRC_EXPLANATION_H_
#define MTLLIB_HOST_SRC_EXPLANATION_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "mtlhost/error.h"
#include "update/failure.h"

namespace mtlhost {

/// What the failures of a library may be about.
struct Subject {
  std::string address{};  ///< Of the library.
  std::string folder{};   ///< Of the copy.
  std::string subPath{};
  std::string proxy{};   ///< "HOST:PORT" that requests go through; "" for none, or an unknown one.
  std::string caFile{};  ///< The authorities that the host trusts; "" for those of the system.
};

/// Why something failed: of what kind that is, in words that follow a colon, and what to do.
struct Why {
  ErrorKind kind = ErrorKind::kOther;
  std::string text{};
  std::string hint{};
};

/// "FILE: why", or why alone.
std::string textOf(const mtlupdate::Failure& failure);

/// A failure of the engine, for its observers: one error that is explained.
Error explainedError(const mtlupdate::Failure& failure, const Subject& subject);

/// The module received more than the settings allow.
Error limitError();

/// Makes the first error one about the library where it is about nothing yet.
void completeAbout(Errors& chain, const std::string& address);

/// Explains a chain of the module. `failedFile` is the file of the library that was not received,
/// where the chain does not name it.
void explainChain(Errors& chain, const Subject& subject, const std::string& failedFile);
/// The same for a run that ended with a warning, or with no word at all.
void explainWarning(Errors& chain, const Subject& subject);

/// A failure of the kit's own: the sentence is made of the chain.
Errors explained(Errors chain, ErrorKind kind, std::string about = {}, std::string hint = {});

/// @name Causes that both ways to keep a copy meet
/// @{

/// A connection failed for this reason, a ConnectionErrorReason.
Why whyNotConnected(std::uint32_t reason, mtlupdate::Failure::Cause cause, std::string text);
/// The answer to a request for this URL had another status than 200.
Why whyRefused(int status, const std::string& about, std::string text);
/// The system reported an error of this code, in the numbering of Windows.
Why whyNotWritten(int code, const Subject& subject, std::string text);
/// @}

/// Whether the text begins with these words.
bool begins(std::string_view text, std::string_view with);

/// Makes the error explain the failure: "WHAT: WHY.".
void explain(Error& error, const std::string& what, const Why& why, std::string about);

}  // namespace mtlhost

#endif  // MTLLIB_HOST_SRC_EXPLANATION_H_
