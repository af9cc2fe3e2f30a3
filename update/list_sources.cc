// Chooses where to get a list from. What a stamp says about its list is used to compare costs
// only; the intake decides whether a list is the right one, wherever it comes from.
#include "update/list_sources.h"

#include <cstdint>
#include <optional>
#include <system_error>
#include <utility>

#include "rules/list_note.h"
#include "update/disk.h"
#include "update/own_files.h"
#include "update/session.h"

namespace mtlupdate {

namespace {

using mtlrules::ListNote;

/// Whether the list may be had in another form.
bool isOfTheForm(const Failure& failure) {
  switch (failure.kind) {
    case Failure::Kind::kNetwork:
    case Failure::Kind::kContent:
    case Failure::Kind::kUntrusted:
    case Failure::Kind::kLimit:
      return true;
    default:
      return false;
  }
}

bool hasSize(Folder& folder, const char* path, std::uint64_t size) {
  Look look;
  return !folder.look(path, look) && look.kind == FileKind::kFile && look.blockedBy.empty() &&
         look.identity.size == size;
}

std::string sha256Text(std::string_view bytes) {
  Sha256 sha256;
  sha256.update(bytes);
  return hexText(sha256.finish());
}

}  // namespace

Outcome ListSources::find(const ListRequest& request, const ListKeeper& keep, Listing& listing,
                          Place& place) {
  std::optional<ListNote> note = mtlsigning::listNoteIn(request.stamp);
  if (note && note->sha256.empty()) note.reset();
  const ListProof proof{request.release, std::move(note)};
  if (folder_ != nullptr && proof.note) {
    for (const auto& [path, where] :
         {std::pair(kNewListFile, Place::kNewFile), std::pair(kListFile, Place::kFile)}) {
      ListIntake intake(proof, {}, listing);
      place = where;
      if (readKept(path, intake)) return {};
    }
  }
  place = keep ? Place::kNewFile : Place::kNone;
  if (!keep) {
    ListIntake intake(proof, {}, listing);
    return fetch(request, intake, {});
  }
  Outcome keeping;
  const ListKeeper noting = [&](bool anew, std::string_view bytes) {
    return keeping = keep(anew, bytes);
  };
  ListIntake intake(proof, noting, listing);
  return fetch(request, intake, keeping);
}

// Whoever asked to stop is asked again by what follows.
bool ListSources::readKept(const char* path, ListIntake& intake) {
  if (!hasSize(*folder_, path, intake.proof().note->size)) return false;
  Outcome failure = intake.begin();
  const std::error_code error = readPieces(
      *folder_, path,
      [&](std::string_view bytes) {
        return callbacks_.shouldContinue() ? intake.take(bytes)
                                           : Failure{Failure::Kind::kCancelled};
      },
      failure);
  return !error && !failure && !intake.finish();
}

Outcome ListSources::fetch(const ListRequest& request, ListIntake& intake, const Outcome& keeping) {
  const auto& note = intake.proof().note;
  const auto document = [&](const std::string& name) {
    Document wanted;
    wanted.target = [&request, name](const Session& session) {
      return session.listTarget(request.subPath, name);
    };
    wanted.pastCaches = request.pastCaches;
    wanted.isAskedAsNamed = request.release == nullptr;
    // What nothing shows to be the right one comes from where the stamp is from.
    if (request.release == nullptr && !note) wanted.mirror = request.mirror;
    return wanted;
  };
  // Where what keeps the list has failed, no other form helps.
  const auto isOver = [&](const Outcome& failure) {
    return !failure || keeping || !isOfTheForm(*failure);
  };
  const std::optional<KeptList> old =
      note && note->hasDifferences ? keptListOf(request.localStamp) : std::nullopt;
  if (old) {
    const std::string name = mtlrules::differenceName(sha256Text(request.localStamp));
    Outcome failure = fetchDifference(transfers_, document(name), callbacks_, *old, intake);
    if (isOver(failure)) return failure;
  }
  if (note && note->isCompressed) {
    Outcome failure = fetchCompressedList(transfers_, document(mtlrules::kCompressedListName),
                                          callbacks_, intake);
    if (isOver(failure)) return failure;
  }
  intake.takeUnsigned();
  return fetchList(transfers_, document(mtlrules::kListName), callbacks_, intake);
}

// That of the copy's own stamp, undamaged.
std::optional<KeptList> ListSources::keptListOf(std::string_view localStamp) {
  const std::optional<ListNote> note = mtlsigning::listNoteIn(localStamp);
  if (folder_ == nullptr || !note || note->sha256.empty()) return std::nullopt;
  if (!hasSize(*folder_, kListFile, note->size)) return std::nullopt;
  Digest digest{};
  const ShouldContinue shouldContinue = [this](std::uint64_t /*bytes*/) {
    return callbacks_.shouldContinue();
  };
  if (FolderDisk(*folder_).digest(kListFile, shouldContinue, digest)) return std::nullopt;
  if (hexText(digest) != note->sha256) return std::nullopt;
  return KeptList{*folder_, kListFile, {note->size, digest}};
}

}  // namespace mtlupdate
