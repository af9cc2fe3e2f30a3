/// @file
/// DownloaderSettings: what a host wants synchronised, from where, to where.
///
/// @since 1.0
#ifndef MTLLIB_DOWNLOADER_SETTINGS_H_
#define MTLLIB_DOWNLOADER_SETTINGS_H_

#include <cstddef>
#include <cstdint>

#include "mtllib/char_string.h"

/// Values of DownloaderSettings::proxyMode. Every other value means the system's
/// proxy settings too.
enum ProxyMode : std::int32_t {
  PROXY_MODE_SYSTEM = 0,    ///< The user's system settings decide.
  PROXY_MODE_EXPLICIT = 2,  ///< Use DownloaderSettings::proxyAddress.
  PROXY_MODE_DISABLED = 3   ///< Connect directly.
};

/// The settings of one downloader. Owned by the host; must outlive the downloader.
/// The field order is fixed.
///
/// remoteAddress and the proxy fields are read when a downloader first runs and stay
/// in force for its life; targetDirectory and subPath are read again on every run.
struct DownloaderSettings {
  /// Base address of the remote library: "http://" or "https://", host, optional port, path.
  /// Without a scheme, http is used. Do not give a path that is a slash alone: for "http://host/"
  /// the library asks for "//id.txt", which servers may distinguish from "/id.txt". If this is
  /// empty, createDownloader() stores the default address here, so that the host can see what will
  /// be used.
  QUtils::CharString remoteAddress;
  /// One of ProxyMode.
  std::int32_t proxyMode = PROXY_MODE_SYSTEM;
  /// Host and optional port of an HTTP proxy ("proxy.example:3128", also with
  /// "http://" in front, without a path); port 80 when none is given. Used with
  /// PROXY_MODE_EXPLICIT; empty counts as PROXY_MODE_DISABLED.
  QUtils::CharString proxyAddress;
  /// Local directory, in UTF-8. Missing levels are created. A relative name is relative to the
  /// current directory, and must not lead above it ("../x").
  QUtils::CharString targetDirectory;
  /// Optional sub-path of the library. The stamp is then kept in and fetched from subPath/id.txt
  /// (after the remote path), and the list is requested from "/" + subPath + remote path +
  /// "/filelist.json" (before it), exactly as given: use only letters, digits and "-._~/", because
  /// other characters are encoded in one of these requests and not in the other. The host has to
  /// create the folder subPath in targetDirectory: without it, a run fails at its end, when it
  /// cannot write the stamp.
  QUtils::CharString subPath;
};

static_assert(offsetof(DownloaderSettings, remoteAddress) == 0, "record layout");
static_assert(offsetof(DownloaderSettings, proxyMode) == 8, "record layout");
static_assert(offsetof(DownloaderSettings, proxyAddress) == 16, "record layout");
static_assert(offsetof(DownloaderSettings, targetDirectory) == 24, "record layout");
static_assert(offsetof(DownloaderSettings, subPath) == 32, "record layout");
static_assert(sizeof(DownloaderSettings) == 40, "record layout");

#endif  // MTLLIB_DOWNLOADER_SETTINGS_H_
