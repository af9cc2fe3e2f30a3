// Reads keys and typed values of the registry.
#ifndef MTLLIB_QUTILS_REGISTRY_H_
#define MTLLIB_QUTILS_REGISTRY_H_

#include <cstdint>
#include <memory>

#include "mtllib/char_string.h"
#include "mtllib/error_chain.h"
#include "platform/utf.h"
#include "platform/win32.h"

namespace QUtils {

/// How a key is opened.
enum RegistryAccess : std::uint32_t {
  REGKEY_READ = 0x1,
  REGKEY_WRITE = 0x2,
  REGKEY_32BIT_VIEW = 0x4  ///< What 32-bit programs see, on a 64-bit system.
};

/// A key of the registry, closed by the destructor unless it is predefined.
class RegistryKey {
 public:
  RegistryKey() = default;
  /// One of the system's root keys, such as HKEY_CURRENT_USER.
  explicit RegistryKey(HKEY root) : predefined(1), hkey(root) {}
  ~RegistryKey() { close(); }
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;

  /// Opens the key `subKeyPath` (UTF-8) below `baseKey`, which is open or predefined; what
  /// this key had open is closed first. `flags` are RegistryAccess bits; without any the
  /// key is only looked for and does not stay open.
  ErrorChain open(const RegistryKey& baseKey, const char* subKeyPath, std::uint32_t flags);
  void close();

  std::uint32_t predefined = 0;  ///< 1 for a root key.
  std::uint32_t openFlags = 0;   ///< As given to open(); 0 while not open.
  HKEY hkey = nullptr;
};

/// A value as it was last read.
struct RegistryValue {
  std::uint32_t type = 0;
  std::uint32_t size = 0;    ///< Bytes of data, as the system counts them.
  std::uint64_t number = 0;  ///< The data of REG_DWORD and REG_QWORD.
  /// The data of all other types; texts have a zero unit behind it in any case.
  std::unique_ptr<BYTE[], Platform::FreeWithQfree> data;
};

/// Reads the value `valueName` (UTF-8) of a key opened with REGKEY_READ. `value` is left
/// alone on failure.
ErrorChain readRegistryValue(const RegistryKey& key, const char* valueName, RegistryValue& value);

/// 0, or 1 when the value is not a REG_DWORD.
int registryValueToDword(const RegistryValue& value, std::uint32_t& out);

/// Takes the text, in UTF-8, with environment variables expanded if it is REG_EXPAND_SZ: 0;
/// 1 when the value is not text, 2 when it holds no data, 3 when the expansion failed or memory
/// ran out.
int registryValueToString(const RegistryValue& value, CharString& out);

}  // namespace QUtils

#endif  // MTLLIB_QUTILS_REGISTRY_H_
