// Prints what programs that were built against the public headers rely on, a fact a line:
// records and their fields, slots of operations, types of functions, values of constants.
#include <cxxabi.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <typeinfo>

#include "mtlhost.h"
#include "mtllib/downloader_interface.h"
#include "support/virtual_slot.h"

// NOLINTBEGIN(bugprone-macro-parentheses): names of types and members

// A record with all its fields. In a class that is derived from it, their names are those of
// the fields; binding them to one does not compile when one is missing here.
#define MTLLIB_RECORD(Record, ...)                                                         \
  struct Record##Facts : Record {                                                          \
    void print() const { printRecord<Record>(#Record, *this, #__VA_ARGS__, __VA_ARGS__); } \
  };                                                                                       \
  [[maybe_unused]] constexpr auto kAllOf##Record = [](const Record& record) {              \
    [[maybe_unused]] const auto& [__VA_ARGS__] = record;                                   \
  }

#define MTLLIB_SLOT(Class, operation)                                                        \
  std::printf("slot %s %ld: %s, %s\n", #Class, static_cast<long>(slotOf(&Class::operation)), \
              #operation, nameOf(typeid(&Class::operation)).c_str())

#define MTLLIB_FUNCTION(function) \
  std::printf("function %s: %s\n", #function, nameOf(typeid(function)).c_str())

#define MTLLIB_VALUE(name) std::printf("value %s = %lld\n", #name, static_cast<long long>(name))

// NOLINTEND(bugprone-macro-parentheses)

namespace {

void replaceAll(std::string& text, std::string_view from, std::string_view to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at))
    text.replace(at, from.size(), to);
}

/// The same on every system, whichever of its types has 64 bits.
std::string nameOf(const std::type_info& type) {
  const std::unique_ptr<char, decltype(&std::free)> demangled(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, nullptr), std::free);
  std::string name = demangled.get();
  replaceAll(name, "long long", "long");
  replaceAll(name, "unsigned long", "uint64");
  replaceAll(name, "long", "int64");
  return name;
}

template <typename Field>
void printField(const char* record, const void* base, std::string_view& names, const Field& field) {
  const std::string name(names.substr(0, names.find(", ")));
  names.remove_prefix(std::min(name.size() + 2, names.size()));
  const std::ptrdiff_t offset =
      reinterpret_cast<const char*>(&field) - static_cast<const char*>(base);
  std::printf("field %s.%s: at %ld, %s\n", record, name.c_str(), static_cast<long>(offset),
              nameOf(typeid(Field)).c_str());
}

template <typename Record>
void printSize(const char* name) {
  std::printf("record %s: %zu bytes, aligned to %zu\n", name, sizeof(Record), alignof(Record));
}

template <typename Record, typename... Fields>
void printRecord(const char* name, const Record& base, std::string_view names,
                 const Fields&... fields) {
  printSize<Record>(name);
  (printField(name, &base, names, fields), ...);
}

using Krell::Networking::TransferProgress;
using QUtils::CharStringBuffer;

MTLLIB_RECORD(CharStringBuffer, reallocFn, freeFn, data, refCount);
MTLLIB_RECORD(DownloaderInterface, version, createDownloader, destroyDownloader, runDownload,
              checkForUpdate, createNetworkContext, destroyNetworkContext,
              getKrellNetworkingStatus);
MTLLIB_RECORD(DownloaderSettings, remoteAddress, proxyMode, proxyAddress, targetDirectory, subPath);
MTLLIB_RECORD(ErrorRecord, tag, message, code, next, deleter, refCount);
MTLLIB_RECORD(ErrorChain, head);
MTLLIB_RECORD(TransferProgress, abort, receivedBytes);
MTLLIB_RECORD(mtlhost_amount, files, bytes);
MTLLIB_RECORD(mtlhost_file, size, kind, path, bytes, source, reason);
MTLLIB_RECORD(mtlhost_update_plan, size, fetched, copied, replaced, removed, withdrawn, unchanged,
              unknown_sizes, space_needed, space_available, file_count, files);
MTLLIB_RECORD(mtlhost_event, size, kind, permille, megabytes_done, megabytes_total, text, error,
              bytes_done, bytes_total, bytes_per_second, seconds_left, plan, file, process);
MTLLIB_RECORD(mtlhost_options, size, module_file, remote_address, target_directory, sub_path,
              proxy_mode, proxy_address, callback, user, flags, tries, bytes_per_second,
              largest_file, largest_total, max_seconds, key_count, keys, library_name, mirror_count,
              mirrors, ca_file, proxy_user, proxy_password, field_count, fields, query, user_agent,
              connect_seconds, stall_seconds);
MTLLIB_RECORD(mtlhost_result, size, failure, is_changed, stamp, fetched, copied, removed, withdrawn,
              unchanged, compared, received_bytes, commit_microseconds, changed_count,
              changed_paths, removed_count, removed_paths, difference_count, differences);

void printModule() {
  printSize<QUtils::CharString>("CharString");
  CharStringBufferFacts{}.print();
  DownloaderInterfaceFacts{}.print();
  DownloaderSettingsFacts{}.print();
  ErrorRecordFacts{}.print();
  ErrorChainFacts{}.print();
  TransferProgressFacts{}.print();
  printSize<HostCallback>("HostCallback");
  MTLLIB_SLOT(HostCallback, setProgressRange);
  MTLLIB_SLOT(HostCallback, setProgressValue);
  MTLLIB_SLOT(HostCallback, setProgressText);
  MTLLIB_SLOT(HostCallback, isAborted);
  MTLLIB_SLOT(HostCallback, beginProgress);
  MTLLIB_SLOT(HostCallback, endProgress);
  MTLLIB_SLOT(HostCallback, logStage);
  MTLLIB_SLOT(HostCallback, logTaggedError);
  MTLLIB_SLOT(HostCallback, reportError);
  MTLLIB_SLOT(HostCallback, logWarning);
  MTLLIB_SLOT(HostCallback, logInfo);
  MTLLIB_FUNCTION(initDownloaderInterface);
  MTLLIB_VALUE(DOWNLOADER_INTERFACE_VERSION);
  MTLLIB_VALUE(PROXY_MODE_SYSTEM);
  MTLLIB_VALUE(PROXY_MODE_EXPLICIT);
  MTLLIB_VALUE(PROXY_MODE_DISABLED);
}

void printConnectionErrors() {
  using namespace Krell::Networking;  // NOLINT(google-build-using-namespace)
  MTLLIB_VALUE(CONNECTION_ERROR_RESOLVE);
  MTLLIB_VALUE(CONNECTION_ERROR_CONNECT);
  MTLLIB_VALUE(CONNECTION_ERROR_TLS);
  MTLLIB_VALUE(CONNECTION_ERROR_PROXY);
  MTLLIB_VALUE(CONNECTION_ERROR_SEND);
  MTLLIB_VALUE(CONNECTION_ERROR_RECEIVE);
  MTLLIB_VALUE(CONNECTION_ERROR_TRUNCATED);
  MTLLIB_VALUE(CONNECTION_ERROR_TIMEOUT);
  MTLLIB_VALUE(CONNECTION_ERROR_ABORTED);
  MTLLIB_VALUE(CONNECTION_ERROR_PROTOCOL);
  MTLLIB_VALUE(CONNECTION_ERROR_MEMORY);
  MTLLIB_VALUE(CONNECTION_ERROR_OTHER);
  MTLLIB_VALUE(CONNECTION_ERROR_CERTIFICATE);
  MTLLIB_VALUE(CONNECTION_ERROR_LIMIT);
  MTLLIB_VALUE(CONNECTION_ERROR_SYSTEM_NUMBER);
  MTLLIB_VALUE(CONNECTION_ERROR_RULE_NUMBER);
  MTLLIB_VALUE(HTTP_RULE_STATUS_LINE);
  MTLLIB_VALUE(HTTP_RULE_FORBIDDEN_BYTE);
  MTLLIB_VALUE(HTTP_RULE_FIELD);
  MTLLIB_VALUE(HTTP_RULE_LENGTH);
  MTLLIB_VALUE(HTTP_RULE_CODING);
  MTLLIB_VALUE(HTTP_RULE_CHUNK);
  MTLLIB_VALUE(HTTP_RULE_UPGRADE);
  MTLLIB_VALUE(HTTP_RULE_HEADER_SIZE);
  MTLLIB_VALUE(HTTP_RULE_FIELD_COUNT);
  MTLLIB_VALUE(HTTP_RULE_CHUNK_EXTENSIONS);
  MTLLIB_VALUE(HTTP_RULE_INTERIM_ANSWERS);
  MTLLIB_VALUE(HTTP_RULE_BODY_SIZE);
}

void printCInterface() {
  mtlhost_amountFacts{}.print();
  mtlhost_fileFacts{}.print();
  mtlhost_update_planFacts{}.print();
  mtlhost_eventFacts{}.print();
  mtlhost_optionsFacts{}.print();
  mtlhost_resultFacts{}.print();
  MTLLIB_FUNCTION(mtlhost_open);
  MTLLIB_FUNCTION(mtlhost_close);
  MTLLIB_FUNCTION(mtlhost_check);
  MTLLIB_FUNCTION(mtlhost_sync);
  MTLLIB_FUNCTION(mtlhost_plan);
  MTLLIB_FUNCTION(mtlhost_verify);
  MTLLIB_FUNCTION(mtlhost_repair);
  MTLLIB_FUNCTION(mtlhost_cancel);
  MTLLIB_FUNCTION(mtlhost_is_unfinished);
  MTLLIB_FUNCTION(mtlhost_last_result);
  MTLLIB_FUNCTION(mtlhost_last_plan);
  MTLLIB_FUNCTION(mtlhost_last_error);
  MTLLIB_FUNCTION(mtlhost_error_tag);
  MTLLIB_FUNCTION(mtlhost_error_code);
  MTLLIB_FUNCTION(mtlhost_error_message);
  MTLLIB_FUNCTION(mtlhost_error_connection_reason);
  MTLLIB_FUNCTION(mtlhost_error_http_status);
  MTLLIB_FUNCTION(mtlhost_error_kind);
  MTLLIB_FUNCTION(mtlhost_error_about);
  MTLLIB_FUNCTION(mtlhost_error_sentence);
  MTLLIB_FUNCTION(mtlhost_error_hint);
  MTLLIB_FUNCTION(mtlhost_error_next);
  MTLLIB_FUNCTION(mtlhost_free_error);
  MTLLIB_FUNCTION(mtlhost_printable);
  MTLLIB_FUNCTION(mtlhost_parse_size);
  MTLLIB_FUNCTION(mtlhost_parse_duration);
  MTLLIB_FUNCTION(mtlhost_version);
  MTLLIB_VALUE(MTLHOST_OK);
  MTLLIB_VALUE(MTLHOST_UPDATE_AVAILABLE);
  MTLLIB_VALUE(MTLHOST_FAILED);
  MTLLIB_VALUE(MTLHOST_CANCELLED);
  MTLLIB_VALUE(MTLHOST_WRONG_USE);
  MTLLIB_VALUE(MTLHOST_EVENT_STAGE);
  MTLLIB_VALUE(MTLHOST_EVENT_INFO);
  MTLLIB_VALUE(MTLHOST_EVENT_WARNING);
  MTLLIB_VALUE(MTLHOST_EVENT_ERROR);
  MTLLIB_VALUE(MTLHOST_EVENT_PROGRESS);
  MTLLIB_VALUE(MTLHOST_EVENT_PLANNED);
  MTLLIB_VALUE(MTLHOST_EVENT_FILE);
  MTLLIB_VALUE(MTLHOST_EVENT_WAITING);
  MTLLIB_VALUE(MTLHOST_FILE_FETCHED);
  MTLLIB_VALUE(MTLHOST_FILE_COPIED);
  MTLLIB_VALUE(MTLHOST_FILE_WITHDRAWN);
  MTLLIB_VALUE(MTLHOST_FILE_REMOVED);
  MTLLIB_VALUE(MTLHOST_FILE_SKIPPED);
  MTLLIB_VALUE(MTLHOST_FILE_DAMAGED);
  MTLLIB_VALUE(MTLHOST_FILE_MISSING);
  MTLLIB_VALUE(MTLHOST_FILE_EXTRA);
  MTLLIB_VALUE(MTLHOST_FILE_CHANGED);
  MTLLIB_VALUE(MTLHOST_FILE_WRONG_SIZE);
  MTLLIB_VALUE(MTLHOST_FILE_UNREADABLE);
  MTLLIB_VALUE(MTLHOST_PROXY_SYSTEM);
  MTLLIB_VALUE(MTLHOST_PROXY_EXPLICIT);
  MTLLIB_VALUE(MTLHOST_PROXY_NONE);
  MTLLIB_VALUE(MTLHOST_DIFFERENT);
  MTLLIB_VALUE(MTLHOST_USE_MODULE);
  MTLLIB_VALUE(MTLHOST_FULL);
  MTLLIB_VALUE(MTLHOST_PRUNE);
  MTLLIB_VALUE(MTLHOST_PRUNE_MOST);
  MTLLIB_VALUE(MTLHOST_WAIT);
  MTLLIB_VALUE(MTLHOST_ALLOW_EXPIRED);
  MTLLIB_VALUE(MTLHOST_FORGET_KEYS);
  MTLLIB_VALUE(MTLHOST_FAILURE_NONE);
  MTLLIB_VALUE(MTLHOST_FAILURE_OTHER);
  MTLLIB_VALUE(MTLHOST_FAILURE_USAGE);
  MTLLIB_VALUE(MTLHOST_FAILURE_NETWORK);
  MTLLIB_VALUE(MTLHOST_FAILURE_DISK);
  MTLLIB_VALUE(MTLHOST_FAILURE_CONTENT);
  MTLLIB_VALUE(MTLHOST_FAILURE_LIMIT);
  MTLLIB_VALUE(MTLHOST_FAILURE_ANOTHER_RUN);
  MTLLIB_VALUE(MTLHOST_FAILURE_MEMORY);
  MTLLIB_VALUE(MTLHOST_FAILURE_UNTRUSTED);
  MTLLIB_VALUE(MTLHOST_KIND_OTHER);
  MTLLIB_VALUE(MTLHOST_KIND_SETTINGS);
  MTLLIB_VALUE(MTLHOST_KIND_ADDRESS);
  MTLLIB_VALUE(MTLHOST_KIND_NAME);
  MTLLIB_VALUE(MTLHOST_KIND_CONNECTION);
  MTLLIB_VALUE(MTLHOST_KIND_CERTIFICATE);
  MTLLIB_VALUE(MTLHOST_KIND_PROXY);
  MTLLIB_VALUE(MTLHOST_KIND_ANSWER);
  MTLLIB_VALUE(MTLHOST_KIND_CONTENT);
  MTLLIB_VALUE(MTLHOST_KIND_UNTRUSTED);
  MTLLIB_VALUE(MTLHOST_KIND_DISK);
  MTLLIB_VALUE(MTLHOST_KIND_PERMISSION);
  MTLLIB_VALUE(MTLHOST_KIND_BUSY);
  MTLLIB_VALUE(MTLHOST_KIND_LIMIT);
  MTLLIB_VALUE(MTLHOST_KIND_CANCELLED);
  MTLLIB_VALUE(MTLHOST_KIND_MODULE);
  MTLLIB_VALUE(MTLHOST_KIND_MEMORY);
}

}  // namespace

int main() {
  printModule();
  printConnectionErrors();
  printCInterface();
  return 0;
}
