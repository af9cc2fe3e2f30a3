// Fetches brings the contents that a plan wants fetched into the stage.
#ifndef MTLLIB_UPDATE_FETCHES_H_
#define MTLLIB_UPDATE_FETCHES_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "update/failure.h"
#include "update/listing.h"
#include "update/release.h"
#include "update/session.h"
#include "update/staging.h"
#include "update/transfers.h"

namespace mtlupdate {

/// The client of the transfers of one plan.
class Fetches : public Transfers::Client {
 public:
  /// One content.
  struct Fetch {
    const Entry* entry = nullptr;
    bool hasPart = false;     ///< The stage has a part of it, from an earlier run.
    Staging::Found staged{};  ///< Once it is whole.
  };

  /// All of them must live longer. `largestFile` goes for contents of unknown size.
  Fetches(const Session& session, Staging& staging, std::vector<Fetch>& fetches,
          std::optional<std::uint64_t> largestFile, const Company& company,
          std::function<void(const Fetch& fetch)> onFetched);
  ~Fetches() override;

  /// Opens the parts of earlier runs, which are read for their digests.
  Outcome openParts();

  std::unique_ptr<Body> next() override;
  void done(Body& body) override;
  bool goOn() override { return company_.goOn(); }
  void again(const Failure& failure, std::chrono::milliseconds wait) override;

 private:
  class StagedBody;

  std::unique_ptr<StagedBody> bodyOf(Fetch& fetch);

  const Session& session_;
  Staging& staging_;
  std::vector<Fetch>& fetches_;
  std::optional<std::uint64_t> largestFile_;
  const Company& company_;
  std::function<void(const Fetch&)> onFetched_;
  std::vector<std::unique_ptr<StagedBody>> parts_;  ///< Opened and not begun.
  std::size_t next_ = 0;
};

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_FETCHES_H_
