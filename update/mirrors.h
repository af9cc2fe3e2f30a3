// A Mirrors object holds the addresses at which a library is published, each with its Session, and
// the order in which a run asks them.
#ifndef MTLLIB_UPDATE_MIRRORS_H_
#define MTLLIB_UPDATE_MIRRORS_H_

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "update/failure.h"
#include "update/session.h"
#include "update/timing.h"

namespace mtlupdate {

/// Addresses go by their numbers, which stay the same as others are added. There is at least one.
/// One thread at a time.
class Mirrors {
 public:
  using Order = std::vector<std::size_t>;

  /// Opens a session for each of the addresses; the first one is that of the options. One that is
  /// there twice counts once. kUsage when one cannot be used. Nothing is sent yet.
  static Outcome open(const SessionOptions& options, const std::vector<std::string>& others,
                      std::unique_ptr<Mirrors>& mirrors);

  /// Adds an address that the library itself names, behind all others. kUsage when it cannot be
  /// used, or when it is of http and the host named one of https. Nothing when it is there already.
  Outcome add(const std::string& address);

  std::size_t size() const { return mirrors_.size(); }
  Session& session(std::size_t mirror) const { return *mirrors_[mirror].session; }
  const std::string& address(std::size_t mirror) const { return mirrors_[mirror].address; }
  int connectionCount() const { return session(0).connectionCount(); }
  bool hasRateLimit() const { return options_.bytesPerSecond > 0; }

  /// The order in which the host named them, then the library, but for those that do not answer.
  const Order& asNamed() const { return asNamed_; }
  /// The same until draw(), which puts them in an order by chance, so that each of many clients
  /// begins with another one.
  const Order& asDrawn() const { return asDrawn_; }
  void draw(Timing& timing);

  /// Puts the address at the end of the order that was drawn: it lacks something. One that did not
  /// answer goes to the end of the other order, too.
  void putLast(std::size_t mirror, bool isSilent);

  /// Nothing is to be asked of the address before this moment.
  Timing::TimePoint pausedUntil(std::size_t mirror) const { return mirrors_[mirror].pausedUntil; }
  void pause(std::size_t mirror, Timing::TimePoint until);

 private:
  struct Mirror {
    std::string address;
    std::unique_ptr<Session> session;
    Timing::TimePoint pausedUntil{};
  };

  explicit Mirrors(SessionOptions options) : options_(std::move(options)) {}
  Outcome open(const std::string& address);

  SessionOptions options_;  ///< Of all sessions, but for the address.
  std::vector<Mirror> mirrors_;
  Order asNamed_;
  Order asDrawn_;
};

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_MIRRORS_H_
