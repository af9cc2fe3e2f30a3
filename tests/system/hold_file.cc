// A program for Windows that keeps a file open while a test updates the copy that contains it:
//   hold_file alone|shared|mapped FILE
// It prints "held" and, when its input ends, whether the file still has the same content for it.
#include <cstdio>
#include <iostream>
#include <string>

#include "platform/win32.h"

namespace {

std::string contentOf(HANDLE file) {
  std::string content(GetFileSize(file, nullptr), '\0');
  DWORD count = 0;
  SetFilePointer(file, 0, nullptr, FILE_BEGIN);
  ReadFile(file, content.data(), static_cast<DWORD>(content.size()), &count, nullptr);
  content.resize(count);
  return content;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) return 2;
  const std::string way = arguments[1];
  // Those who map a file seldom think of others who want to replace it.
  const DWORD sharing = way == "shared"   ? FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE
                        : way == "mapped" ? FILE_SHARE_READ
                                          : 0;
  const HANDLE file =
      CreateFileA(arguments[2], GENERIC_READ, sharing, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return 1;
  const std::string first = contentOf(file);
  const char* map = nullptr;
  if (way == "mapped") {
    const HANDLE section = CreateFileMappingA(file, nullptr, PAGE_READONLY, 0, 0, nullptr);
    map = static_cast<const char*>(MapViewOfFile(section, FILE_MAP_READ, 0, 0, 0));
    CloseHandle(section);
    CloseHandle(file);
    if (map == nullptr) return 1;
  }
  std::cout << "held" << std::endl;
  while (std::getchar() != EOF) {
  }
  const std::string last = map != nullptr ? std::string(map, first.size()) : contentOf(file);
  std::cout << (last == first ? "as it was" : "changed") << std::endl;
  return 0;
}
