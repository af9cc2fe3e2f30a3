/** @file
 * mtlhost: keeps local copies of online material libraries up to date, for programs in any
 * language. Plain C; link libmtlhost.so or mtlhost.dll, or load it at run time.
 *
 *     mtlhost_options options = {.size = sizeof(options),
 *                                .remote_address = "https://materials.example/library",
 *                                .target_directory = "materials"};
 *     mtlhost_library* library = NULL;
 *     if (mtlhost_open(&options, &library, NULL) == MTLHOST_OK) {
 *       mtlhost_sync(library);
 *       mtlhost_close(library);
 *     }
 *
 * Texts are zero-terminated UTF-8 in both directions. What comes out is always valid:
 * bytes of a server that are not UTF-8 are replaced by U+FFFD. No text that comes out is
 * NULL.
 *
 * Ownership: whatever is passed in is copied and may go at once, but for `user`, which is
 * only handed on. What comes out belongs to the library object or to the event that it
 * comes from, but for the error of mtlhost_open().
 *
 * Threads: any thread may use a library object, one at a time; mtlhost_cancel() may be
 * called by others meanwhile. Several objects may be used at once, each by a thread of its
 * own; two must not share a target directory.
 *
 * Processes: a library object belongs to the process that opened it. In a forked one,
 * mtlhost_check() and mtlhost_sync() fail at once, and mtlhost_close() leaves everything to
 * the other process; a library object of its own can be opened.
 *
 * Versions: records begin with their size, and grow only at the end. Functions, constants
 * and fields are added, never changed. */
#ifndef MTLHOST_H
#define MTLHOST_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32) && defined(MTLHOST_BUILD)
#define MTLHOST_API __declspec(dllexport)
#elif defined(_WIN32)
#define MTLHOST_API __declspec(dllimport)
#elif defined(__GNUC__)
#define MTLHOST_API __attribute__((visibility("default")))
#else
#define MTLHOST_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** A remote library and its local copy. */
typedef struct mtlhost_library mtlhost_library;

/** One failure of a chain: what was being done when the next one happened. */
typedef struct mtlhost_error mtlhost_error;

/** What a function returns. */
enum {
  MTLHOST_OK = 0,               /**< Done. After a check or sync, the copy is up to date. */
  MTLHOST_UPDATE_AVAILABLE = 1, /**< Of mtlhost_check() only. */
  MTLHOST_FAILED = -1,          /**< The error tells why. */
  MTLHOST_CANCELLED = -2,       /**< By mtlhost_cancel() or by the callback. */
  MTLHOST_WRONG_USE = -3        /**< A null handle, or a check or sync is under way. Nothing
                                     was done; the last error stays as it was. */
};

/** What an event tells. Ignore kinds that you do not know. */
enum {
  MTLHOST_EVENT_STAGE = 1,   /**< What the library does now: "Creating download directory". */
  MTLHOST_EVENT_INFO = 2,    /**< Worth knowing when something goes wrong. */
  MTLHOST_EVENT_WARNING = 3, /**< Not as it should be, and does not end the run by itself. */
  MTLHOST_EVENT_ERROR = 4,   /**< The failure that ends the check or sync, a cancelled one
                                  among them. A sync may fail without one; the last error
                                  always tells. */
  MTLHOST_EVENT_PROGRESS = 5 /**< Comes whenever one of its numbers or its text changes, and
                                  otherwise about ten times a second while anything is
                                  transferred. */
};

/** Megabytes have 1,000,000 bytes and are rounded down. */
typedef struct mtlhost_event {
  size_t size;                /**< Of the record that the library filled: a field that lies
                                   beyond is not there. */
  int32_t kind;               /**< MTLHOST_EVENT_... */
  int32_t permille;           /**< PROGRESS: 0 to 1000, of the phase; -1 when unknown. */
  int64_t megabytes_done;     /**< PROGRESS: received in this phase. Otherwise -1. */
  int64_t megabytes_total;    /**< PROGRESS: to receive in this phase; -1 when unknown. */
  const char* text;           /**< The message; PROGRESS: the phase ("Downloading files");
                                   ERROR: the message of the newest failure. */
  const mtlhost_error* error; /**< ERROR, and WARNING that has a tag: the chain. Else NULL. */
} mtlhost_event;

/** Told what happens during a check or sync. Everything it gets is valid during the call.
 * Return 0 to go on, anything else to cancel.
 *
 * Called on the thread that called in, and on a thread of the library, but never two at a
 * time for one library object. It may call mtlhost_cancel() and the functions for errors,
 * and nothing else with the same library object. */
typedef int32_t (*mtlhost_callback)(const mtlhost_event* event, void* user);

/** Which proxy to use. */
enum {
  MTLHOST_PROXY_SYSTEM = 1,   /**< The user's system settings decide; so they do with 0. */
  MTLHOST_PROXY_EXPLICIT = 2, /**< The one in proxy_address. */
  MTLHOST_PROXY_NONE = 3      /**< None: connect directly. */
};

/** Zero all of it, set the size, then fill in what you need. NULL and "" mean the same. */
typedef struct mtlhost_options {
  size_t size;                  /**< sizeof(mtlhost_options): fields that lie beyond count as
                                     zero, fields that this version does not know are not
                                     looked at. */
  const char* module_file;      /**< The module; none: the one beside this library, or
                                     else the one that the system's loader finds. */
  const char* remote_address;   /**< "https://..."; none: the module's default. Slashes at
                                     its end do not count. */
  const char* target_directory; /**< Folder of the local copy, made if missing. Required. */
  const char* sub_path;         /**< Sub-path of the library: letters, digits, "-._~/". */
  int32_t proxy_mode;           /**< MTLHOST_PROXY_... */
  const char* proxy_address;    /**< "proxy.example:3128" */
  mtlhost_callback callback;    /**< May be NULL. */
  void* user;                   /**< Handed to the callback. */
} mtlhost_options;

/** Loads the module and starts its networking; nothing is transferred or written yet. When
 * that works, returns MTLHOST_OK and stores the new object in `*library`. Otherwise returns
 * MTLHOST_FAILED, or MTLHOST_WRONG_USE when an argument or the target directory is missing,
 * stores NULL there, and in `*error` the reason, which the caller must give back by
 * mtlhost_free_error(). `error` may be NULL. */
MTLHOST_API int32_t mtlhost_open(const mtlhost_options* options, mtlhost_library** library,
                                 mtlhost_error** error);

/** Releases everything. NULL is ignored. Not while a check or sync is under way. */
MTLHOST_API void mtlhost_close(mtlhost_library* library);

/** Tells whether the remote library has changed, without writing anything: MTLHOST_OK when
 * not, MTLHOST_UPDATE_AVAILABLE, MTLHOST_FAILED, MTLHOST_CANCELLED or MTLHOST_WRONG_USE. */
MTLHOST_API int32_t mtlhost_check(mtlhost_library* library);

/** Brings the local copy up to date: MTLHOST_OK when it is or was brought up to date,
 * MTLHOST_FAILED, MTLHOST_CANCELLED or MTLHOST_WRONG_USE. One that failed or was cancelled
 * leaves the copy marked as old, so that the next one starts over. */
MTLHOST_API int32_t mtlhost_sync(mtlhost_library* library);

/** Ends the check or sync that is under way within 200 ms, or else the next one before it
 * begins: a request that comes a moment too early is not lost. It is used up by the one
 * that it ends, and by one that is done before it notices. Any thread may call, the
 * callback too. NULL is ignored. */
MTLHOST_API void mtlhost_cancel(mtlhost_library* library);

/** Why the last check or sync failed or was cancelled; NULL when it was not. Not while one
 * is under way. Valid until the next one ends or the library object is closed. */
MTLHOST_API const mtlhost_error* mtlhost_last_error(const mtlhost_library* library);

/** Who met the failure, such as "DownloaderImpl::saveFile"; "mtlhost" for failures of this
 * library itself; "" when unknown. Like the two below, takes NULL: "" and 0 then. */
MTLHOST_API const char* mtlhost_error_tag(const mtlhost_error* error);

/** -1, or a system error code (Win32 numbering on every platform). */
MTLHOST_API int32_t mtlhost_error_code(const mtlhost_error* error);

/** What happened; "" when there is nothing to say. */
MTLHOST_API const char* mtlhost_error_message(const mtlhost_error* error);

/** The cause, which belongs to the same owner; NULL at the end of the chain. */
MTLHOST_API const mtlhost_error* mtlhost_error_next(const mtlhost_error* error);

/** Gives back the chain that mtlhost_open() stored. NULL is ignored. */
MTLHOST_API void mtlhost_free_error(mtlhost_error* error);

/** Writes `text` to `buffer`, which has `size` bytes, as one line that is fit for a terminal, a
 * log or a dialogue: line breaks and tabs become blanks, and bytes that are not UTF-8, give a
 * terminal commands or change the direction of the text around them are written as `\xHH`.
 * Events and errors hold names that a server chose. The line is cut between two characters
 * where it does not fit, and ends in a zero unless `size` is 0. Returns the bytes that the
 * whole line needs, the zero included. */
MTLHOST_API size_t mtlhost_printable(const char* text, char* buffer, size_t size);

/** Of this library: "MAJOR.MINOR.PATCH". */
MTLHOST_API const char* mtlhost_version(void);

#ifdef __cplusplus
}
#endif

#endif /* MTLHOST_H */
