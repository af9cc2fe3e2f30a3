// Implements Mirrors. A session starts its thread and opens connections only with its first
// request, so addresses that are never asked cost next to nothing.
#include "update/mirrors.h"

#include <algorithm>
#include <utility>

#include "rules/address.h"
#include "rules/ascii.h"

namespace mtlupdate {

namespace {

using mtlrules::AddressParts;

bool isHttps(const std::string& address) {
  return mtlrules::splitAddress(address).scheme == AddressParts::Scheme::kHttps;
}

bool isSameServer(const std::string& one, const std::string& other) {
  const AddressParts left = mtlrules::splitAddress(one);
  const AddressParts right = mtlrules::splitAddress(other);
  return left.scheme == right.scheme && mtlrules::equalsIgnoringCase(left.server, right.server);
}

void moveToEnd(Mirrors::Order& order, std::size_t mirror) {
  const auto place = std::find(order.begin(), order.end(), mirror);
  if (place != order.end()) std::rotate(place, place + 1, order.end());
}

}  // namespace

Outcome Mirrors::open(const SessionOptions& options, const std::vector<std::string>& others,
                      std::unique_ptr<Mirrors>& mirrors) {
  std::unique_ptr<Mirrors> opened(new Mirrors(options));
  if (Outcome failure = opened->open(options.address)) return failure;
  for (const std::string& address : others) {
    if (Outcome failure = opened->open(address)) return failure;
  }
  mirrors = std::move(opened);
  return {};
}

Outcome Mirrors::open(const std::string& address) {
  const std::string name = mtlrules::withoutTrailingSlashes(address);
  const bool isKnown = std::any_of(mirrors_.begin(), mirrors_.end(),
                                   [&](const Mirror& mirror) { return mirror.address == name; });
  if (isKnown) return {};
  SessionOptions options = options_;
  options.address = address;
  // What identifies the host to the library's own server is not for others.
  if (!isSameServer(address, options_.address)) {
    options.fields.clear();
    options.query.clear();
  }
  Mirror mirror{name, nullptr};
  if (Outcome failure = Session::open(options, mirror.session)) return failure;
  asNamed_.push_back(mirrors_.size());
  asDrawn_.push_back(mirrors_.size());
  mirrors_.push_back(std::move(mirror));
  return {};
}

Outcome Mirrors::add(const std::string& address) {
  const auto refused = [&](const char* why) {
    return Failure{Failure::Kind::kUsage, why, address};
  };
  if (!mtlrules::isMirrorAddress(address)) return refused("not an address of http or https");
  const bool isSafe = isHttps(address) ||
                      std::none_of(mirrors_.begin(), mirrors_.end(),
                                   [](const Mirror& mirror) { return isHttps(mirror.address); });
  if (!isSafe) return refused("does not use https, although another address of the library does");
  return open(address);
}

void Mirrors::draw(Timing& timing) {
  for (std::size_t left = asDrawn_.size(); left > 1; --left) {
    const auto drawn = static_cast<std::size_t>(timing.random() * static_cast<double>(left));
    std::swap(asDrawn_[left - 1], asDrawn_[std::min(drawn, left - 1)]);
  }
}

void Mirrors::putLast(std::size_t mirror, bool isSilent) {
  moveToEnd(asDrawn_, mirror);
  if (isSilent) moveToEnd(asNamed_, mirror);
}

void Mirrors::pause(std::size_t mirror, Timing::TimePoint until) {
  Timing::TimePoint& paused = mirrors_[mirror].pausedUntil;
  paused = std::max(paused, until);
}

}  // namespace mtlupdate
