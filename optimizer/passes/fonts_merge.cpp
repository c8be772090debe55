// Several subsets of one font become one program that all their dictionaries share. Codes, encodings and widths stay as
// they are: only what the descriptors point at changes.
//
//   1. Programs whose names agree but for the subset tag are candidates.
//   2. Each is merged into the first one that it agrees with in everything they share (font/merge.h).
//   3. The union is checked against every program that went into it, and kept where it is smaller than they are together.
#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "optimizer/base/deflate.h"
#include "optimizer/base/pool.h"
#include "optimizer/document/document.h"
#include "optimizer/document/stream_data.h"
#include "optimizer/document/usage.h"
#include "optimizer/font/check.h"
#include "optimizer/font/merge.h"
#include "optimizer/font/pdf_fonts.h"
#include "optimizer/font/shown_codes.h"
#include "optimizer/font/subset.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"

namespace optimizer {
namespace {

constexpr std::size_t kLargestProgram = std::size_t{16} << 20;
constexpr std::size_t kLargestGroup = 256;
constexpr int kQuickDeflate = 9;

struct Member {
  FontProgram* program = nullptr;
  Bytes bytes;
  std::vector<font::ShownCodes> users;  // TrueType only
  bool composite = false, simple = false;  // whether it has users of the kind
};

struct Union {
  std::vector<std::size_t> members;  // of the group
  Bytes program;
  std::set<std::string> names;
};

struct Group {
  ProgramKind kind = ProgramKind::cff;
  std::vector<Member> members;
  std::vector<Union> unions;
};

bool smaller(const Union& candidate, const Group& group) {
  std::size_t apart = 0;
  for (const std::size_t m : candidate.members) apart += deflate(group.members[m].bytes, kQuickDeflate).size();
  return deflate(candidate.program, kQuickDeflate).size() < apart;
}

void mergeCff(Group& group) {
  struct Cluster {
    font::PsFont font;
    std::vector<std::size_t> members;
  };
  std::vector<Cluster> clusters;
  std::vector<font::GlyphsToCheck> checks(group.members.size());
  for (std::size_t m = 0; m < group.members.size(); ++m) {
    Result<font::PsFont> parsed = font::readCff(group.members[m].bytes);
    if (!parsed.ok()) continue;
    // In a name-keyed program composite fonts count glyphs by their place, which a union would change.
    if (parsed->cidKeyed ? group.members[m].simple : group.members[m].composite) continue;
    for (const font::PsGlyph& glyph : parsed->glyphs) {
      if (parsed->cidKeyed) {
        checks[m].numbers.emplace_back(glyph.cid, glyph.cid);
      } else {
        checks[m].names.push_back(glyph.name);
      }
    }
    bool placed = false;
    for (Cluster& cluster : clusters) {
      placed = font::mergeInto(cluster.font, *parsed);
      if (placed) cluster.members.push_back(m);
      if (placed) break;
    }
    if (!placed) clusters.push_back({std::move(*parsed), {m}});
  }
  for (Cluster& cluster : clusters) {
    if (cluster.members.size() < 2) continue;
    Result<Bytes> written = font::writeSmallestCff(cluster.font);
    if (!written.ok()) continue;
    Union candidate{cluster.members, std::move(*written), {}};
    bool same = true;
    for (const std::size_t m : candidate.members) {
      same = same && font::sameGlyphs(group.members[m].bytes, candidate.program, checks[m]).ok();
    }
    for (const font::PsGlyph& glyph : cluster.font.glyphs) {
      if (!cluster.font.cidKeyed && glyph.name != ".notdef") candidate.names.insert(glyph.name);
    }
    if (same && smaller(candidate, group)) group.unions.push_back(std::move(candidate));
  }
}

void mergeTrueType(Group& group) {
  struct Cluster {
    font::TrueTypePart part;
    std::vector<std::size_t> members;
  };
  std::vector<Cluster> clusters;
  std::vector<font::GlyphsToCheck> checks(group.members.size());
  std::deque<Bytes> store;
  for (std::size_t m = 0; m < group.members.size(); ++m) {
    std::optional<font::TrueTypePart> part = font::readPart(group.members[m].bytes, group.members[m].users);
    if (!part) continue;
    for (const std::uint16_t glyph : part->glyphs) checks[m].numbers.emplace_back(glyph, glyph);
    bool placed = false;
    for (Cluster& cluster : clusters) {
      placed = font::mergeInto(cluster.part, *part, store);
      if (placed) cluster.members.push_back(m);
      if (placed) break;
    }
    if (!placed) clusters.push_back({std::move(*part), {m}});
  }
  for (Cluster& cluster : clusters) {
    if (cluster.members.size() < 2) continue;
    Result<Bytes> written = font::writeTrueType(cluster.part.font, cluster.part.glyphs, {true, false});
    if (!written.ok()) continue;
    Union candidate{cluster.members, std::move(*written), {}};
    bool same = true;
    for (const std::size_t m : candidate.members) {
      same = same && font::sameGlyphs(group.members[m].bytes, candidate.program, checks[m]).ok();
    }
    if (same && smaller(candidate, group)) group.unions.push_back(std::move(candidate));
  }
}

std::string plainName(const FontProgram& program) {
  QPDFObjectHandle descriptor = program.descriptors.front();
  QPDFObjectHandle name = descriptor.getKey("/FontName");
  return name.isName() ? withoutSubsetTag(name.getName()) : std::string();
}

// Bits that stand for CIDs: those of all the sets together.
void uniteCidSets(const std::vector<QPDFObjectHandle>& descriptors, Document& document) {
  std::string bits;
  bool all = true;
  for (QPDFObjectHandle descriptor : descriptors) {
    QPDFObjectHandle set = descriptor.getKey("/CIDSet");
    if (!set.isStream()) {
      all = false;
      continue;
    }
    const Result<Bytes> data = decodedStreamData(set);
    if (!data.ok()) return;
    if (bits.size() < data->size()) bits.resize(data->size(), '\0');
    for (std::size_t i = 0; i < data->size(); ++i) bits[i] = static_cast<char>(bits[i] | static_cast<char>((*data)[i]));
  }
  if (bits.empty()) return;
  for (QPDFObjectHandle descriptor : descriptors) {
    if (all) {
      descriptor.replaceKey("/CIDSet", QPDFObjectHandle::newStream(&document.pdf(), bits));
    } else {
      descriptor.removeKey("/CIDSet");  // one that tells of only a part would be wrong
    }
  }
}

void apply(Group& group, Union& merged, Document& document) {
  FontProgram& first = *group.members[merged.members.front()].program;
  const std::string tag = font::subsetTag(merged.program);
  for (std::size_t i = 1; i < merged.members.size(); ++i) {
    const FontProgram& other = *group.members[merged.members[i]].program;
    first.descriptors.insert(first.descriptors.end(), other.descriptors.begin(), other.descriptors.end());
    first.users.insert(first.users.end(), other.users.begin(), other.users.end());
  }
  const auto rename = [&](QPDFObjectHandle dictionary, const char* key) {
    QPDFObjectHandle value = dictionary.getKey(key);
    if (!value.isName()) return;
    dictionary.replaceKey(key, QPDFObjectHandle::newName("/" + tag + "+" + withoutSubsetTag(value.getName())));
  };
  for (const FontUser& user : first.users) {
    rename(user.font, "/BaseFont");
    if (user.composite()) rename(user.holder, "/BaseFont");
  }
  std::string names;
  for (const std::string& name : merged.names) names += "/" + name;
  for (QPDFObjectHandle& descriptor : first.descriptors) {
    rename(descriptor, "/FontName");
    if (descriptor.hasKey("/CharSet")) descriptor.replaceKey("/CharSet", QPDFObjectHandle::newString(names));
  }
  uniteCidSets(first.descriptors, document);
  QPDFObjectHandle subtype = first.stream.getDict().getKey("/Subtype");
  replaceProgram(first, first.kind, subtype.isName() ? subtype.getName() : std::string(), std::move(merged.program));
}

class MergeFontsPass : public Pass {
 public:
  std::string_view name() const override { return "fonts-merge"; }
  bool keepsUsage() const override { return true; }

  Result<PassOutcome> process(PassContext& context) override {
    return withoutExceptions("fonts-merge", [&]() -> Result<PassOutcome> {
      std::vector<FontProgram> programs = fontPrograms(context.document);
      std::vector<Group> groups = candidates(programs, context);
      context.pool.parallelFor(groups.size(), [&](std::size_t i) {
        try {
          groups[i].kind == ProgramKind::cff ? mergeCff(groups[i]) : mergeTrueType(groups[i]);
        } catch (...) {
          groups[i].unions.clear();  // out of memory: these fonts stay as they are
        }
      });
      std::size_t gone = 0;
      for (Group& group : groups) {
        for (Union& merged : group.unions) {
          gone += merged.members.size() - 1;
          apply(group, merged, context.document);
        }
      }
      if (gone == 0) return PassOutcome::unchanged;
      context.report.note(std::to_string(gone) + " font programs merged into others");
      return PassOutcome::changed;
    });
  }

 private:
  static std::vector<Group> candidates(std::vector<FontProgram>& programs, PassContext& context) {
    std::map<std::pair<ProgramKind, std::string>, std::vector<FontProgram*>> byName;
    for (FontProgram& program : programs) {
      if (!program.usersKnown || program.users.empty()) continue;
      if (std::any_of(program.users.begin(), program.users.end(), hasWidthsByName)) continue;
      if (program.kind != ProgramKind::cff && program.kind != ProgramKind::trueType) continue;
      const std::string name = plainName(program);
      if (!name.empty()) byName[{program.kind, name}].push_back(&program);
    }
    std::vector<Group> groups;
    for (const auto& [key, list] : byName) {
      if (list.size() < 2) continue;
      Group group;
      group.kind = key.first;
      for (FontProgram* program : list) {
        if (group.members.size() == kLargestGroup) break;
        Member member;
        member.program = program;
        bool known = true;
        for (const FontUser& user : program->users) (user.composite() ? member.composite : member.simple) = true;
        if (group.kind == ProgramKind::trueType) {
          const DocumentUsage& usage = usageOf(context);
          for (const FontUser& user : program->users) {
            std::optional<font::ShownCodes> shown = shownCodes(user, usage);
            known = known && shown;
            if (shown) member.users.push_back(std::move(*shown));
          }
        }
        Result<Bytes> data = decodedStreamData(program->stream);
        if (!known || !data.ok() || data->size() > kLargestProgram) continue;
        member.bytes = std::move(*data);
        group.members.push_back(std::move(member));
      }
      if (group.members.size() > 1) groups.push_back(std::move(group));
    }
    return groups;
  }
};

}  // namespace

std::unique_ptr<Pass> makeMergeFontsPass() { return std::make_unique<MergeFontsPass>(); }

}  // namespace optimizer
