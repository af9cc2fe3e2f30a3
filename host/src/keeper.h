// A Keeper keeps the copy of one library up to date, in one of the two ways: by the engine, or by
// the module.
#ifndef MTLLIB_HOST_SRC_KEEPER_H_
#define MTLLIB_HOST_SRC_KEEPER_H_

#include <memory>
#include <string>
#include <utility>

#include "event_stream.h"
#include "explanation.h"
#include "mtlhost/library.h"
#include "update/failure.h"

namespace mtlhost {

/// One operation at a time. Each throws the exception of the observer that ended it.
class Keeper {
 public:
  virtual ~Keeper() = default;
  virtual Result check() = 0;
  virtual Result run() = 0;
  virtual Result plan(Plan& plan) = 0;
  virtual Result verify() = 0;
  virtual Result repair() = 0;
};

/// Null, with the reason in `problem`, when the settings cannot be used. The events must outlive
/// it.
std::unique_ptr<Keeper> openEngine(const Settings& settings, EventStream& events, Errors& problem);
std::unique_ptr<Keeper> openModule(const Settings& settings, EventStream& events, Errors& problem);

/// The folder of a copy, by the name that both ways understand alike.
std::string copyFolder(const std::string& targetDirectory);

/// Why no request can be sent as the settings say, whichever proxy it is; empty when they can be
/// used as far as that is known yet.
Errors proxyProblem(const Settings& settings);

/// What a failure of the engine is to hosts.
Result failedBy(const mtlupdate::Failure& failure, const Subject& subject);

inline Result failedBy(Result::Failure kind, Errors errors) {
  Result result;
  result.failure = kind;
  result.errors = std::move(errors);
  return result;
}

}  // namespace mtlhost

#endif  // MTLLIB_HOST_SRC_KEEPER_H_
