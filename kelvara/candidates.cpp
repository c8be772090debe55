#include "kelvara/candidates.h"

#include <algorithm>

#include "kelv/profile/profile_keys.h"
#include "kelvara/ready_profiles.h"

namespace kelvara {
namespace {

bool isLowerCase(char letter) { return letter >= 'a' && letter <= 'z'; }

void addProfileNames(Candidates& candidates) {
  for (const ReadyProfile& profile : readyProfiles()) candidates.words.emplace_back(profile.name);
}

void addKeys(Candidates& candidates, const char* ending) {
  for (const kelv::ProfileKey& key : kelv::profileKeys()) {
    candidates.words.push_back(std::string(key.name) + ending);
  }
}

void add(Candidates& candidates, std::string_view token) {
  if (token == "NAME") {
    addProfileNames(candidates);
  } else if (token == "KEY") {
    addKeys(candidates, "");
  } else if (token == "KEY=VALUE") {
    addKeys(candidates, "=");
  } else if (token == "FOLDER") {
    candidates.folders = true;
  } else if (token == "FILE") {
    candidates.files = candidates.folders = true;
    candidates.extension.clear();
  } else if (token.find('.') != std::string_view::npos) {
    candidates.files = candidates.folders = true;
    candidates.extension = token.substr(token.find('.') + 1);
  } else if (isLowerCase(token.front())) {
    candidates.words.emplace_back(token);
  }
}

}  // namespace

Candidates candidatesFor(std::string_view placeholder) {
  Candidates candidates;
  while (!placeholder.empty()) {
    const std::size_t end = std::min(placeholder.find_first_of("| []"), placeholder.size());
    std::string_view token = placeholder.substr(0, end);
    while (token.ends_with('.')) token.remove_suffix(1);  // "FILE..."
    if (!token.empty()) add(candidates, token);
    placeholder.remove_prefix(std::min(end + 1, placeholder.size()));
  }
  return candidates;
}

std::string shellQuoted(std::string_view text) {
  std::string word = "'";
  for (const char letter : text) {
    if (letter == '\'') {
      word += "'\\''";
    } else {
      word += letter;
    }
  }
  return word + "'";
}

std::string joinedWords(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

}  // namespace kelvara
