// Checks the stamp, the list in all its forms, every file, and the stamp again, because a library
// that is published again meanwhile would show problems that it does not have.
#include "mtlpublish/verify.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "mtlpublish/contained_path.h"
#include "mtlpublish/downloads.h"
#include "mtlpublish/kept_builds.h"
#include "mtlpublish/list_check.h"
#include "mtlpublish/list_differences.h"
#include "mtlpublish/list_forms.h"
#include "mtlpublish/parallel_work.h"
#include "mtlpublish/signature_report.h"
#include "mtlpublish/tree_scan.h"
#include "mtlpublish/views.h"
#include "mtlpublish/whole_file.h"
#include "rules/address.h"
#include "rules/list_entry.h"
#include "rules/list_note.h"
#include "rules/own_names.h"
#include "rules/path.h"
#include "rules/printable.h"
#include "signing/release_comment.h"
#include "signing/signed_release.h"
#include "update/file_digest.h"
#include "update/sha256.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

/// Beyond which clients read no list; and of files whose size is not listed.
constexpr std::int64_t kLargestSize = 1073741824;

/// What a file was found to be.
struct Found {
  /// Why nothing was found out; "" when something was.
  std::string problem;
  std::optional<std::uint64_t> size;
  /// "" when the content was not looked at.
  std::string sha256;
};

/// One byte more shows that there is more.
constexpr std::int64_t kLargestSignedStamp = mtlsigning::kLargestSignature + 1;

struct Text {
  std::string content;
  std::string problem;
};

/// Where a library is.
class Source {
 public:
  Source() = default;
  virtual ~Source() = default;
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;

  /// The content of the stamp or the list, of a longer one no more than `limit` bytes.
  virtual Text readStamp(const std::string& subPath, std::int64_t limit) = 0;
  /// `name` is the list, or another form of it.
  virtual Text readList(const std::string& subPath, const std::string& name,
                        std::int64_t limit) = 0;
  /// Whether a cache may hand out a stamp that is older than the list, as clients of an unsigned
  /// library put up with.
  virtual bool mayBeCached() const { return false; }
  /// Names of differences of lists, where it can be found out which there are.
  virtual std::vector<std::string> differences(const std::string& /*subPath*/) { return {}; }
  /// The lists of builds that are kept.
  virtual std::vector<std::string> keptLists(const std::string& /*subPath*/) { return {}; }

  /// What every one of the files is, in their order.
  virtual std::vector<Found> find(const std::vector<ListedFile>& files, bool quick,
                                  WorkCounter& counter, const std::function<void()>& meanwhile) = 0;
};

std::string unreadable(const std::error_code& error) {
  return "cannot be read: " + errorMessage(error);
}

std::string bytesOf(std::uint64_t count) {
  return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

std::string otherSize(const std::string& size, std::int64_t listedSize) {
  return "has " + size + ", the list says " + bytesOf(static_cast<std::uint64_t>(listedSize));
}

class Folder : public Source {
 public:
  explicit Folder(fs::path root) : root_(std::move(root)) {}

  Text readStamp(const std::string& subPath, std::int64_t limit) override {
    return read(mtlrules::stampName(subPath), limit);
  }
  Text readList(const std::string& subPath, const std::string& name, std::int64_t limit) override {
    const fs::path list = fs::u8path(listPlace("", subPath));
    return read((list.parent_path() / fs::u8path(name)).generic_u8string(), limit);
  }
  std::vector<std::string> differences(const std::string& subPath) override {
    std::vector<std::string> names;
    const std::optional<fs::path> list =
        fileWithin(root_, mtlrules::plainPath(listPlace("", subPath)));
    if (!list) return names;
    for (std::string& name : listFormsIn(list->parent_path())) {
      if (name != mtlrules::kCompressedListName) names.push_back(std::move(name));
    }
    return names;
  }
  std::vector<std::string> keptLists(const std::string& subPath) override {
    const KeptBuilds builds(root_);
    std::vector<std::string> lists;
    for (const std::uint64_t number : builds.numbers()) {
      std::optional<BuildRecord> record = builds.read(number);
      if (!record) continue;
      for (BuildRecord::ViewList& view : record->views) {
        if (view.subPath == subPath) lists.push_back(std::move(view.list));
      }
      lists.push_back(std::move(record->list));
    }
    return lists;
  }
  std::vector<Found> find(const std::vector<ListedFile>& files, bool quick, WorkCounter& counter,
                          const std::function<void()>& meanwhile) override {
    std::vector<Found> found(files.size());
    workInParallel(
        files.size(),
        [&](std::size_t number) {
          counter.begin(files[number].remotePath);
          found[number] = findOne(files[number], quick, counter);
          counter.endFile();
        },
        meanwhile);
    return found;
  }

 private:
  Text read(const std::string& name, std::int64_t limit) const {
    const std::optional<fs::path> file = fileWithin(root_, mtlrules::plainPath(name));
    if (!file) return {"", "is missing"};
    Text text;
    if (const auto error = readContent(*file, text.content, static_cast<std::size_t>(limit))) {
      text.problem = unreadable(error);
    }
    return text;
  }

  Found findOne(const ListedFile& listed, bool quick, WorkCounter& counter) const {
    const std::optional<fs::path> file = fileWithin(root_, mtlrules::plainPath(listed.remotePath));
    if (!file) return {"is missing", {}, ""};
    std::error_code error;
    mtlupdate::FileDigest content;
    if (quick || listed.sha256.empty()) {
      content.size = fs::file_size(*file, error);
    } else {
      error = mtlupdate::digestFile(*file, content, counter.bytesOfFile());
    }
    if (error) return {unreadable(error), {}, ""};
    return {"", content.size, mtlupdate::hexText(content.sha256)};
  }

  fs::path root_;
};

class Server : public Source {
 public:
  explicit Server(mtlupdate::Session& session) : session_(session) {}

  Text readStamp(const std::string& subPath, std::int64_t limit) override {
    return read(session_.fileTarget(mtlrules::stampName(subPath)), limit);
  }
  Text readList(const std::string& subPath, const std::string& name, std::int64_t limit) override {
    return read(session_.listTarget(subPath, name), limit);
  }
  bool mayBeCached() const override { return true; }

  std::vector<Found> find(const std::vector<ListedFile>& files, bool quick, WorkCounter& counter,
                          const std::function<void()>& meanwhile) override {
    std::vector<Found> found(files.size());
    std::size_t next = 0;
    runDownloads(
        session_,
        [&]() -> std::optional<Download> {
          if (next == files.size()) return std::nullopt;
          const std::size_t number = next++;
          counter.begin(files[number].remotePath);
          return download(files[number], quick, found[number], counter);
        },
        meanwhile);
    return found;
  }

 private:
  Text read(const std::string& target, std::int64_t limit) {
    Text text;
    bool isBegun = false;
    const auto next = [&]() -> std::optional<Download> {
      if (std::exchange(isBegun, true)) return std::nullopt;
      Download download;
      download.target = target;
      download.largestSize = limit;
      download.onBytes = [&](std::string_view bytes) { text.content += bytes; };
      download.onEnd = [&](const DownloadEnd& end) {
        if (!end.problem.empty()) text = {"", unfetched(end.problem)};
      };
      return download;
    };
    runDownloads(session_, next, [] {});
    return text;
  }

  static std::string unfetched(const std::string& problem) {
    return "cannot be fetched: " + mtlrules::printable(problem);
  }

  Download download(const ListedFile& file, bool quick, Found& found, WorkCounter& counter) const {
    Download download;
    download.target = session_.fileTarget(file.remotePath);
    download.headOnly = quick;
    download.largestSize = file.size.value_or(kLargestSize);
    auto sha256 = std::make_shared<mtlupdate::Sha256>();
    auto size = std::make_shared<std::uint64_t>(0);
    download.onBytes = [sha256, size, &counter](std::string_view bytes) {
      sha256->update(bytes);
      *size += bytes.size();
      counter.addBytes(bytes.size());
    };
    download.onEnd = [sha256, size, quick, &file, &found, &counter](const DownloadEnd& end) {
      counter.endFile();
      if (end.isTooLarge && file.size) {
        found.problem =
            otherSize("more than " + bytesOf(static_cast<std::uint64_t>(*file.size)), *file.size);
      } else if (!end.problem.empty()) {
        found.problem = unfetched(end.problem);
      } else if (!quick) {
        found.size = *size;
        found.sha256 = mtlupdate::hexText(sha256->finish());
      } else if (end.announcedSize >= 0) {
        found.size = static_cast<std::uint64_t>(end.announcedSize);
      } else {
        found.problem = "the server does not tell its size; verify without --quick";
      }
    };
    return download;
  }

  mtlupdate::Session& session_;
};

/// "" unless the stamp is signed for clients that give another sub-path.
std::string subPathProblem(const std::string& stamp, const std::string& subPath) {
  std::string ignored;
  const auto signature = mtlsigning::signatureFrom(stamp, ignored);
  const auto release = signature ? mtlsigning::releaseFrom(signature->comment) : std::nullopt;
  return !release || release->subPath == subPath
             ? ""
             : "is signed for the sub-path \"" + release->subPath + '"';
}

/// "" when the file is what the list says.
std::string difference(const ListedFile& listed, const Found& found) {
  if (!found.problem.empty()) return found.problem;
  if (listed.size && found.size && static_cast<std::uint64_t>(*listed.size) != *found.size) {
    return otherSize(bytesOf(*found.size), *listed.size);
  }
  const bool isOther =
      !listed.sha256.empty() && !found.sha256.empty() && listed.sha256 != found.sha256;
  return isOther ? "has the listed size, but another content" : "";
}

std::string nameOf(const ListedFile& file) {
  std::string name = mtlrules::printable(file.remotePath);
  if (file.remotePath != file.path) name += " (for " + mtlrules::printable(file.path) + ")";
  return name;
}

// A stamp may be anything; one that is a signature is no longer than signatures are.
Text readStamp(Source& source, const VerifyOptions& options) {
  Text stamp =
      source.readStamp(options.subPath, options.keys.empty() ? kLargestSize : kLargestSignedStamp);
  if (stamp.problem.empty() && stamp.content.empty()) stamp.problem = "is empty";
  return stamp;
}

/// What is wrong with other forms of the list, of which the stamp says that they are there.
void checkForms(Source& source, const VerifyOptions& options, const mtlrules::ListNote& note,
                const std::string& list, std::vector<std::string>& problems) {
  const auto check = [&](const std::string& name, const auto& problemOf) {
    const Text form = source.readList(options.subPath, name, kLargestSize);
    const std::string problem = form.problem.empty() ? problemOf(form.content) : form.problem;
    if (!problem.empty()) problems.push_back(name + ": " + problem);
  };
  if (note.isCompressed) {
    check(mtlrules::kCompressedListName,
          [&](const std::string& content) { return compressedListProblem(content, list); });
  }
  if (!note.hasDifferences) return;
  const std::vector<std::string> names = source.differences(options.subPath);
  std::vector<std::string> older;
  if (!names.empty()) older = source.keptLists(options.subPath);
  for (const std::string& name : names)
    check(name,
          [&](const std::string& content) { return differenceProblem(content, list, older); });
}

/// As checkForms(), and whether the list is that of the stamp, where no key shows it.
void checkNote(Source& source, const VerifyOptions& options, const std::string& stamp,
               const std::string& list, std::vector<std::string>& problems) {
  const auto note = mtlsigning::listNoteIn(stamp);
  if (!note || note->sha256.empty()) return;
  const mtlupdate::ListIdentity found = identityOf(list);
  if (found.size == note->size && mtlupdate::hexText(found.sha256) == note->sha256) {
    checkForms(source, options, *note, list, problems);
  } else if (options.keys.empty() && !source.mayBeCached()) {
    problems.push_back(std::string(mtlrules::kListName) + ": is not the list that the stamp is of");
  }
}

VerifyResult verify(Source& source, const VerifyOptions& options) {
  VerifyResult result;
  const auto addProblem = [&result](const std::string& name, const std::string& problem) {
    if (!problem.empty()) result.problems.push_back(name + ": " + problem);
  };
  const Text stamp = readStamp(source, options);
  addProblem(mtlrules::kStampName, stamp.problem);
  const Text text = source.readList(options.subPath, mtlrules::kListName, kLargestSize);
  addProblem(mtlrules::kListName, text.problem);
  if (!text.problem.empty()) return result;

  if (stamp.problem.empty()) {
    const std::int64_t now = std::chrono::duration_cast<std::chrono::seconds>(
                                 std::chrono::system_clock::now().time_since_epoch())
                                 .count();
    SignatureReport report = reportSignature(stamp.content, text.content, options.keys, now);
    result.signature = std::move(report.text);
    result.problems.insert(result.problems.end(), report.problems.begin(), report.problems.end());
    if (!options.subPath.empty()) {
      addProblem(mtlrules::kStampName, subPathProblem(stamp.content, options.subPath));
    }
    checkNote(source, options, stamp.content, text.content, result.problems);
  }

  CheckedList list = checkList(text.content, options.subPath);
  result.problems.insert(result.problems.end(), list.problems.begin(), list.problems.end());
  result.files = list.files.size();
  for (const ListedFile& file : list.files) {
    if (!options.keys.empty() && (file.sha256.empty() || !file.size)) {
      addProblem(nameOf(file),
                 "is not covered by the signature: the list lacks its size or digest");
    }
    result.bytes += static_cast<std::uint64_t>(file.size.value_or(0));
    if (file.sha256.empty()) ++result.withoutDigest;
    if (!file.size && (options.quick || file.sha256.empty())) ++result.withoutSize;
  }
  WorkCounter counter(result.files, options.quick ? 0 : result.bytes);
  const std::vector<Found> found = source.find(list.files, options.quick, counter, [&] {
    if (options.onProgress) options.onProgress(counter.progress());
  });
  for (std::size_t i = 0; i < list.files.size(); ++i)
    addProblem(nameOf(list.files[i]), difference(list.files[i], found[i]));
  if (stamp.problem.empty() && readStamp(source, options).content != stamp.content) {
    addProblem(mtlrules::kStampName, "changed meanwhile; verify again");
  }
  return result;
}

VerifyResult failed(const std::string& problem) {
  VerifyResult result;
  result.problems.push_back(problem);
  return result;
}

}  // namespace

VerifyResult verifyFolder(const fs::path& folder, const VerifyOptions& options) {
  std::error_code error;
  const fs::path root = canonicalFolder(folder, error);
  if (error) return failed(mtlrules::printable(folder.u8string()) + ": " + errorMessage(error));
  Folder source(root);
  return verify(source, options);
}

VerifyResult verifyAddress(const mtlupdate::SessionOptions& session, const VerifyOptions& options) {
  const std::string base = mtlrules::withoutTrailingSlashes(session.address);
  if (mtlrules::hasUserName(base)) {
    // It may come with a password, which is not to be shown.
    return failed("the address: one with a user name is not taken");
  }
  if (mtlrules::fileUrl(base, mtlrules::kListName).empty()) {
    return failed(mtlrules::printable(session.address) + ": is not an address of http or https");
  }
  std::unique_ptr<mtlupdate::Session> opened;
  if (const mtlupdate::Outcome failure = mtlupdate::Session::open(session, opened)) {
    return failed(mtlrules::printable(failure->about + ": " + failure->text));
  }
  Server source(*opened);
  return verify(source, options);
}

}  // namespace mtlpublish
