// Parses one list, and prints how many seconds that took and by how many bytes the process grew at
// most since before the list arrived: its text is kept until it has been parsed.
//
// The bytes are the system's figure, not a sum of the sizes asked for. That would leave out
// what the allocator adds to each of many small blocks, and, counted through functions
// wrapped by the linker, the strings that the parser's shared library takes from malloc.
//
// usage: bench_list_parse KIND_OF_ENTRIES NUMBER_OF_ENTRIES
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>

#include "list_host.h"
#include "qutils/mem_stream.h"

namespace {

// A line of the process's status, in bytes; 0 when there is none.
std::int64_t statusBytes(const std::string& name) {
  std::ifstream status("/proc/self/status");
  std::string word;
  std::int64_t kibibytes = 0;
  while (status >> word && word != name + ":") {
  }
  status >> kibibytes;
  return kibibytes * 1024;
}

// The seconds that parsing took; negative when it failed.
double parseList(ListHost& host, std::int32_t count) {
  using Clock = std::chrono::steady_clock;
  QUtils::PMemStream stream(16384);
  if (!host.writeList(stream, count)) return -1;
  const auto begin = Clock::now();
  const bool isParsed = host.parse(stream, count);
  const std::chrono::duration<double> taken = Clock::now() - begin;
  return isParsed ? taken.count() : -1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  ListHost host(static_cast<Entries>(std::stoi(argv[1])));
  // The code that is loaded, and what is made once for the whole process, do not count.
  if (parseList(host, 10) < 0) return 1;
  const std::int64_t before = statusBytes("VmRSS");
  const double seconds = parseList(host, std::stoi(argv[2]));
  const std::int64_t growth = statusBytes("VmHWM") - before;
  if (seconds < 0 || before <= 0 || growth <= 0) return 1;
  std::printf("%.9f %lld\n", seconds, static_cast<long long>(growth));
  return 0;
}
