#include "tests/recording_engine/script.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <utility>
#include <vector>

namespace recording {
namespace {

struct Script {
  Behaviour others;
  std::vector<std::pair<std::string, Behaviour>> inputs;
  bool createSucceeds = true;
  int initializeResult = 1;
};

std::string percentDecoded(const std::string& text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      bytes += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      bytes += text[i];
    }
  }
  return bytes;
}

void apply(Script& script, Behaviour& behaviour, const std::string& name, const std::string& value) {
  if (name == "open") behaviour.openResult = std::stoi(value);
  else if (name == "save") behaviour.saveResult = std::stoi(value);
  else if (name == "open-message") behaviour.openMessage = value;
  else if (name == "save-message") behaviour.saveMessage = value;
  else if (name == "output") behaviour.output = value;
  else if (name == "open-delay") behaviour.openDelay = std::stoi(value);
  else if (name == "save-delay") behaviour.saveDelay = std::stoi(value);
  else if (name == "save-effect") behaviour.saveEffect = value;
  else if (name.rfind("info ", 0) == 0) behaviour.infoEntries[name.substr(5)] = value;
  else if (name == "create") script.createSucceeds = value != "0";
  else if (name == "initialize") script.initializeResult = std::stoi(value);
  else {
    std::fprintf(stderr, "the engine's script has an unknown name: %s\n", name.c_str());
    std::abort();
  }
}

Script readScript() {
  Script script;
  const char* path = getenv("KELV_SCRIPT");
  if (path == nullptr) return script;
  std::ifstream file(path);
  Behaviour* current = &script.others;
  std::string line;
  while (std::getline(file, line)) {
    const auto tab = line.find('\t');
    if (tab == std::string::npos) continue;
    const auto name = line.substr(0, tab);
    const auto value = percentDecoded(line.substr(tab + 1));
    if (name == "input") {
      script.inputs.emplace_back(value, script.others);
      current = &script.inputs.back().second;
    } else {
      apply(script, *current, name, value);
    }
  }
  return script;
}

const Script script = readScript();

}  // namespace

const Behaviour& behaviourFor(const std::string& inputPath) {
  for (const auto& [text, behaviour] : script.inputs) {
    if (inputPath.find(text) != std::string::npos) return behaviour;
  }
  return script.others;
}

bool createSucceeds() { return script.createSucceeds; }
int initializeResult() { return script.initializeResult; }

}  // namespace recording
