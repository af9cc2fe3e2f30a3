// Implements Library: what both ways of keeping a copy share. One operation runs at a time, and
// none in a process that was forked.
#include "mtlhost/library.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "event_stream.h"
#include "explanation.h"
#include "keeper.h"
#include "module.h"
#include "system_calls.h"
#include "update/session.h"

namespace mtlhost {

// Members stand in the order in which they are made; they are released in the opposite one.
struct Library::Impl {
  Impl(const Settings& settings, Observer& observer)
      : address(settings.remoteAddress), events(observer) {}

  Result call(const std::function<Result(Keeper& keeper)>& operation);
  bool isForked() const { return processId() != process; }

  Result refusal(Result::Status status, Error why, ErrorKind kind) const {
    Result result{status, -1, explained({std::move(why)}, kind)};
    completeAbout(result.errors, address);
    return result;
  }

  const std::int64_t process = processId();
  const std::string address;
  EventStream events;
  std::unique_ptr<Keeper> keeper;
  std::atomic<bool> busy{false};
};

Result Library::Impl::call(const std::function<Result(Keeper& keeper)>& operation) {
  if (isForked()) {
    Result result =
        refusal(Result::Status::kFailed, ownError("the library was opened in another process"),
                ErrorKind::kSettings);
    result.failure = Result::Failure::kOther;
    return result;
  }
  if (busy.exchange(true)) return {Result::Status::kBusy, -1, {}};
  // However it ends: memory may run out.
  struct End {
    ~End() {
      impl.events.finish();
      impl.busy = false;
    }
    Impl& impl;
  } const end{*this};

  if (events.isCancelled()) {
    return refusal(Result::Status::kCancelled, ownError("cancelled before it began"),
                   ErrorKind::kCancelled);
  }
  return operation(*keeper);
}

// The threads that the module would wait for stayed in the process that was forked.
void Library::Close::operator()(Impl* impl) const {
  if (!impl->isForked()) delete impl;
}

Library::Library(std::unique_ptr<Impl, Close> impl) : impl_(std::move(impl)) {}
Library::Library(Library&& other) noexcept = default;
Library& Library::operator=(Library&& other) noexcept = default;
Library::~Library() = default;

// The module would continue without a proxy that it cannot use.
Errors proxyProblem(const Settings& settings) {
  if (settings.proxyMode != PROXY_MODE_EXPLICIT) return {};
  const char* const hint = "Set the address of an HTTP proxy, HOST:PORT, or use no proxy.";
  if (settings.proxyAddress.empty()) {
    return explained({ownError("No proxy is named")}, ErrorKind::kProxy, "", hint);
  }
  mtlupdate::Proxy proxy;
  const mtlupdate::Outcome failure = mtlupdate::parseProxy(settings.proxyAddress, proxy);
  return failure ? Errors{explainedError(*failure, {})} : Errors{};
}

std::optional<Library> Library::open(const Settings& settings, Observer& observer,
                                     Errors& problem) {
  std::unique_ptr<Impl, Close> impl(new Impl(settings, observer));
  const bool isModule = settings.usesModule || !settings.moduleFile.empty();
  const auto open = isModule ? openModule : openEngine;
  impl->keeper = open(settings, impl->events, problem);
  completeAbout(problem, settings.remoteAddress);
  if (!impl->keeper) return std::nullopt;
  return Library(std::move(impl));
}

Result Library::check() {
  return impl_->call([](Keeper& keeper) { return keeper.check(); });
}

Result Library::run() {
  return impl_->call([](Keeper& keeper) { return keeper.run(); });
}

Result Library::plan(Plan& plan) {
  plan = {};
  return impl_->call([&](Keeper& keeper) { return keeper.plan(plan); });
}

Result Library::verify() {
  return impl_->call([](Keeper& keeper) { return keeper.verify(); });
}

Result Library::repair() {
  return impl_->call([](Keeper& keeper) { return keeper.repair(); });
}

void Library::cancel() noexcept {
  impl_->events.cancel();
}

const char* version() noexcept {
  return MTLLIB_VERSION;
}

}  // namespace mtlhost
