#include "optimizer/font/pdf_fonts.h"

#include <cctype>
#include <cstdint>
#include <map>
#include <set>
#include <utility>

#include "optimizer/document/document.h"
#include "optimizer/document/reachable.h"
#include "optimizer/document/stream_data.h"

namespace optimizer {

std::string nameAt(QPDFObjectHandle dictionary, const char* key) {
  QPDFObjectHandle value = dictionary.getKey(key);
  return value.isName() ? value.getName() : std::string();
}

namespace {

constexpr const char* kFileKeys[] = {"/FontFile", "/FontFile2", "/FontFile3"};

using Key = std::uint64_t;
bool isDictionary(QPDFObjectHandle object) { return object.isDictionary(); }

ProgramKind kindOf(QPDFObjectHandle stream, const std::string& key) {
  if (key == "/FontFile") return ProgramKind::type1;
  if (key == "/FontFile2") return ProgramKind::trueType;
  const std::string subtype = nameAt(stream.getDict(), "/Subtype");
  if (subtype == "/Type1C" || subtype == "/CIDFontType0C") return ProgramKind::cff;
  return subtype == "/OpenType" ? ProgramKind::openType : ProgramKind::other;
}

// Looks at every dictionary once, direct ones inside others too, and notes what refers to what.
class Collector {
 public:
  explicit Collector(const Reach& reach) : reach_(reach) {}

  std::vector<FontProgram> collect() {
    for (const QPDFObjectHandle& container : reach_.containers) {
      if (isDictionary(container)) inspect(container, container.isIndirect());
    }
    for (auto& [key, entry] : descriptors_) attach(entry);
    for (FontProgram& program : programs_) {
      if (reach_.referencesTo(program.stream) != static_cast<int>(program.descriptors.size())) program.usersKnown = false;
    }
    return std::move(programs_);
  }

 private:
  struct Descriptor {
    QPDFObjectHandle dictionary;
    std::vector<FontUser> users;
    bool usersKnown = true;
  };

  void inspect(QPDFObjectHandle dictionary, bool indirect) {
    const std::string subtype = nameAt(dictionary, "/Subtype");
    if (subtype == "/Type0") {
      QPDFObjectHandle list = dictionary.getKey("/DescendantFonts");
      if (!list.isArray() || list.getArrayNItems() < 1) return;
      QPDFObjectHandle holder = list.getArrayItem(0);
      if (isDictionary(holder)) addUser(dictionary, holder, true, indirect);
    } else if (subtype == "/Type1" || subtype == "/MMType1" || subtype == "/TrueType") {
      addUser(dictionary, dictionary, false, indirect);
    } else if (subtype == "/CIDFontType0" || subtype == "/CIDFontType2") {
      QPDFObjectHandle descriptor = dictionary.getKey("/FontDescriptor");
      if (descriptor.isIndirect()) {
        ++expected_[keyOf(descriptor)];
        if (dictionary.isIndirect()) cidHolders_[keyOf(descriptor)].insert(keyOf(dictionary));
      }
    } else if (dictionary.hasKey("/FontFile") || dictionary.hasKey("/FontFile2") || dictionary.hasKey("/FontFile3")) {
      if (indirect) descriptorOf(dictionary);
    }
  }

  void addUser(QPDFObjectHandle font, QPDFObjectHandle holder, bool composite, bool indirect) {
    QPDFObjectHandle descriptor = holder.getKey("/FontDescriptor");
    if (!isDictionary(descriptor) || !descriptor.isIndirect()) {
      if (isDictionary(descriptor)) markUnknown(descriptor);
      return;
    }
    Descriptor& entry = descriptorOf(descriptor);
    FontUser user{font, holder, composite};
    entry.users.push_back(user);
    if (!indirect) entry.usersKnown = false;
    if (composite) {
      reached_[keyOf(descriptor)].insert(keyOf(holder));
      if (!holder.isIndirect()) entry.usersKnown = false;
    } else {
      ++expected_[keyOf(descriptor)];
    }
  }

  Descriptor& descriptorOf(QPDFObjectHandle dictionary) {
    Descriptor& entry = descriptors_[keyOf(dictionary)];
    entry.dictionary = dictionary;
    return entry;
  }

  // A direct descriptor: its program keeps its form.
  void markUnknown(QPDFObjectHandle descriptor) {
    for (const char* key : kFileKeys) {
      QPDFObjectHandle stream = descriptor.getKey(key);
      if (stream.isStream()) direct_.insert(keyOf(stream));
    }
  }

  void attach(Descriptor& entry) {
    const Key key = keyOf(entry.dictionary);
    // Every reference to the descriptor must come from a font dictionary, and every descendant from a Type 0 font.
    if (reach_.referencesTo(entry.dictionary) != expected_[key] || reached_[key] != cidHolders_[key]) {
      entry.usersKnown = false;
    }
    int files = 0;
    for (const char* fileKey : kFileKeys) files += entry.dictionary.getKey(fileKey).isStream() ? 1 : 0;
    for (const char* fileKey : kFileKeys) {
      QPDFObjectHandle stream = entry.dictionary.getKey(fileKey);
      if (!stream.isStream()) continue;
      const auto [at, added] = indexOf_.emplace(keyOf(stream), programs_.size());
      if (added) {
        programs_.emplace_back();
        programs_.back().stream = stream;
        programs_.back().kind = kindOf(stream, fileKey);
      }
      FontProgram& program = programs_[at->second];
      program.descriptors.push_back(entry.dictionary);
      program.users.insert(program.users.end(), entry.users.begin(), entry.users.end());
      if (!entry.usersKnown || files != 1 || direct_.count(keyOf(stream)) != 0) program.usersKnown = false;
      if (program.kind != kindOf(stream, fileKey)) {
        program.kind = ProgramKind::other;
        program.usersKnown = false;
      }
    }
  }

  const Reach& reach_;
  std::map<Key, Descriptor> descriptors_;
  std::map<Key, std::size_t> indexOf_;
  std::map<Key, int> expected_;
  std::map<Key, std::set<Key>> cidHolders_, reached_;
  std::set<Key> direct_;
  std::vector<FontProgram> programs_;
};

}  // namespace

std::vector<FontProgram> fontPrograms(Document& document) { return Collector(document.reach()).collect(); }

bool hasWidthsByName(const FontUser& user) {
  QPDFObjectHandle holder = user.holder;
  return !user.composite() && !holder.getKey("/Widths").isArray();
}

std::string withoutSubsetTag(const std::string& name) {
  const std::string plain = !name.empty() && name[0] == '/' ? name.substr(1) : name;
  if (plain.size() < 8 || plain[6] != '+') return plain;
  for (int i = 0; i < 6; ++i) {
    if (plain[static_cast<std::size_t>(i)] < 'A' || plain[static_cast<std::size_t>(i)] > 'Z') return plain;
  }
  return plain.substr(7);
}

void replaceProgram(FontProgram& program, ProgramKind kind, const std::string& subtype,
                    std::vector<unsigned char> data) {
  QPDFObjectHandle dictionary = program.stream.getDict();
  for (const char* key : {"/Length1", "/Length2", "/Length3", "/Subtype"}) dictionary.removeKey(key);
  if (!subtype.empty()) dictionary.replaceKey("/Subtype", QPDFObjectHandle::newName(subtype));
  if (kind == ProgramKind::trueType) {
    dictionary.replaceKey("/Length1", QPDFObjectHandle::newInteger(static_cast<long long>(data.size())));
  }
  setStreamData(program.stream, std::move(data), QPDFObjectHandle::newNull(), QPDFObjectHandle::newNull());
  const char* key = kind == ProgramKind::trueType ? "/FontFile2" : kind == ProgramKind::type1 ? "/FontFile" : "/FontFile3";
  for (QPDFObjectHandle& descriptor : program.descriptors) {
    for (const char* old : kFileKeys) descriptor.removeKey(old);
    descriptor.replaceKey(key, program.stream);
  }
  program.kind = kind;
}

}  // namespace optimizer
