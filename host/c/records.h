// The records that C hosts read, together with the texts that their fields point to.
#ifndef MTLLIB_HOST_C_RECORDS_H_
#define MTLLIB_HOST_C_RECORDS_H_

#include <list>
#include <string>
#include <vector>

#include "mtlhost.h"
#include "mtlhost/library.h"
#include "mtlhost/update.h"

/// Whatever bytes a server's list has for paths, the texts are valid UTF-8.
class FileRecord : public mtlhost_file {
 public:
  explicit FileRecord(const mtlhost::FileChange& change);
  explicit FileRecord(const mtlhost::Difference& difference);
  FileRecord(const FileRecord&) = delete;
  FileRecord& operator=(const FileRecord&) = delete;

 private:
  const std::string pathText_;
  const std::string sourceText_;
  const std::string reasonText_;
};

/// An array of records as C takes it.
class FileRecords {
 public:
  template <typename Files>
  explicit FileRecords(const Files& files) {
    for (const auto& file : files)
      pointers_.push_back(&records_.emplace_back(file));
  }

  std::size_t count() const { return pointers_.size(); }
  const mtlhost_file* const* data() const { return pointers_.data(); }

 private:
  std::list<FileRecord> records_;
  std::vector<const mtlhost_file*> pointers_;
};

/// An array of texts as C takes it.
class TextRecords {
 public:
  explicit TextRecords(const std::vector<std::string>& texts);

  std::size_t count() const { return pointers_.size(); }
  const char* const* data() const { return pointers_.data(); }

 private:
  std::list<std::string> texts_;
  std::vector<const char*> pointers_;
};

class PlanRecord : public mtlhost_update_plan {
 public:
  explicit PlanRecord(const mtlhost::Plan& plan);
  PlanRecord(const PlanRecord&) = delete;
  PlanRecord& operator=(const PlanRecord&) = delete;

 private:
  const FileRecords records_;
};

/// Of a result that has nothing in it, it takes no memory.
class ResultRecord : public mtlhost_result {
 public:
  explicit ResultRecord(const mtlhost::Result& result);
  ResultRecord(const ResultRecord&) = delete;
  ResultRecord& operator=(const ResultRecord&) = delete;

 private:
  const std::string stampText_;
  const TextRecords changed_;
  const TextRecords removed_;
  const FileRecords differenceRecords_;
};

#endif  // MTLLIB_HOST_C_RECORDS_H_
