// A Fetches object brings the contents that a plan wants fetched into the stage.
#ifndef MTLLIB_UPDATE_FETCHES_H_
#define MTLLIB_UPDATE_FETCHES_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "update/failure.h"
#include "update/listing.h"
#include "update/plan.h"
#include "update/release.h"
#include "update/staging.h"
#include "update/transfers.h"

namespace mtlupdate {

/// The client of the transfers of one plan.
class Fetches : public Transfers::Client {
 public:
  /// Fetches the contents that `staged` does not have whole, beginning with the parts that it has,
  /// and notes there what it fetched. All of them must live longer. `largestFile` goes for contents
  /// of unknown size.
  Fetches(Staging& staging, const std::vector<Plan::Fetch>& fetches, StagedContents& staged,
          std::optional<std::uint64_t> largestFile, const FetchCallbacks& callbacks,
          std::function<void(const Entry& entry, std::size_t mirror)> onFetched);
  ~Fetches() override;

  /// Opens the parts of earlier runs, which are read for their digests.
  Outcome openParts();

  std::unique_ptr<Body> next() override;
  void done(Body& body, std::size_t mirror) override;
  bool shouldContinue() override { return callbacks_.shouldContinue(); }
  void onRetry(const Failure& failure, std::chrono::milliseconds wait) override;
  void onNextAddress(const Failure& failure, const std::string& address) override;

  /// What nobody can check comes from this address of the library alone.
  void takeUncheckedFrom(std::size_t mirror) { uncheckedFrom_ = mirror; }

 private:
  class StagedBody;

  std::unique_ptr<StagedBody> bodyOf(const Plan::Fetch& fetch);

  Staging& staging_;
  const std::vector<Plan::Fetch>& fetches_;
  StagedContents& staged_;
  std::optional<std::uint64_t> largestFile_;
  const FetchCallbacks& callbacks_;
  std::function<void(const Entry&, std::size_t)> onFetched_;
  std::optional<std::size_t> uncheckedFrom_;
  std::vector<std::unique_ptr<StagedBody>> parts_;  ///< Opened and not begun.
  std::vector<const Plan::Fetch*> others_;          ///< Of which the stage has nothing.
  std::size_t next_ = 0;                            ///< Of the others.
};

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_FETCHES_H_
