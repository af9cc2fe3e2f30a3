// An EventForwarder is the kit's observer behind the callback of a C host.
#ifndef MTLLIB_HOST_C_EVENT_FORWARDER_H_
#define MTLLIB_HOST_C_EVENT_FORWARDER_H_

#include <chrono>
#include <cstdint>
#include <string>

#include "mtlhost.h"
#include "mtlhost/observer.h"

/// Makes an event of everything that the library reports, and cancels when the callback says
/// so. Without a callback, no text is even made.
class EventForwarder final : public mtlhost::Observer {
 public:
  EventForwarder(mtlhost_callback callback, void* user) : callback_(callback), user_(user) {}

  /// An operation is over.
  void reset();

  void stage(const mtlhost::Message& message) override;
  void info(const mtlhost::Message& message) override;
  void warning(const std::string& text) override;
  void nonFatalError(const mtlhost::Error& error) override;
  void error(const mtlhost::Errors& chain) override;
  void progress(const mtlhost::Progress& progress) override;
  bool shouldContinue(const mtlhost::Transfer& transfer) override;
  void planned(const mtlhost::Plan& plan) override;
  void file(const mtlhost::FileChange& change) override;
  void waiting(std::int64_t process) override;

 private:
  using Clock = std::chrono::steady_clock;

  void tell(std::int32_t kind, const std::string& text, const mtlhost::Errors& chain = {});
  void tellProgress();
  void send(mtlhost_event event, const std::string& text);

  mtlhost_callback callback_;
  void* user_;
  mtlhost::Progress progress_;
  Clock::time_point lastSent_;
  bool cancelled_ = false;
};

#endif  // MTLLIB_HOST_C_EVENT_FORWARDER_H_
