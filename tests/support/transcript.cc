// Makes the substitutions in each line when it is added, so that actions see what tests see.
#include "support/transcript.h"

#include <algorithm>
#include <filesystem>

#include "support/call_text.h"
#include "support/temp_dir.h"

namespace {

// A large body of one repeated byte is recorded as its size.
std::string contentText(const std::string& content) {
  constexpr std::size_t kLargestShown = 100;
  if (content.size() <= kLargestShown) return stringLiteral(content);
  const bool uniform = content.find_first_not_of(content[0]) == std::string::npos;
  return uniform ? std::to_string(content.size()) + " times " + stringLiteral(content.substr(0, 1))
                 : stringLiteral(content);
}

}  // namespace

void Transcript::substitute(const std::string& text, const std::string& name) {
  const std::lock_guard<std::mutex> lock(mutex_);
  substitutions_.emplace_back(text, name);
}

void Transcript::after(const std::string& beginning, Action action) {
  const std::lock_guard<std::mutex> lock(mutex_);
  actions_.emplace_back(beginning, std::move(action));
}

void Transcript::add(std::string line) {
  std::list<std::pair<std::string, Action>> due;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& [what, name] : substitutions_) {
      for (std::size_t at = 0; (at = line.find(what, at)) != std::string::npos; at += name.size())
        line.replace(at, what.size(), name);
    }
    text_ += line + "\n";
    for (auto next = actions_.begin(); next != actions_.end();) {
      const auto action = next++;
      if (line.rfind(action->first, 0) == 0) due.splice(due.end(), actions_, action);
    }
  }
  for (const auto& [beginning, action] : due)
    action();
}

void Transcript::clear() {
  const std::lock_guard<std::mutex> lock(mutex_);
  text_.clear();
}

std::string Transcript::text() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return text_;
}

std::vector<std::string> describeTree(const std::string& root) {
  std::vector<std::string> lines;
  const auto base = std::filesystem::u8path(root);
  for (const auto& entry : std::filesystem::recursive_directory_iterator(base)) {
    const std::string name = entry.path().lexically_relative(base).generic_u8string();
    if (entry.is_regular_file()) {
      lines.push_back("on disk: " + name + " " + contentText(readFile(entry.path().u8string())));
    } else if (std::filesystem::is_empty(entry)) {
      lines.push_back("on disk: " + name + "/");
    }
  }
  std::sort(lines.begin(), lines.end());
  return lines;
}
