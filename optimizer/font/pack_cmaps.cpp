// pack_cmaps FOLDER FILE: at build time, makes an include file of the predefined CMaps (ISO 32000-1, table
// 118) out of Adobe's CMap resources, which lie in FOLDER/COLLECTION/NAME.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "optimizer/font/cmap_packing.h"

namespace {

using optimizer::Bytes;
using namespace optimizer::font;

struct Entry {
  const char* collection;
  const char* name;
  const char* like = "";  // one before it that has many ranges in common
};

// What another one builds on or is like stands before it.
constexpr Entry kEntries[] = {
    {"GB1", "GB-EUC-H"},
    {"GB1", "GB-EUC-V"},
    {"GB1", "GBpc-EUC-H", "GB-EUC-H"},
    {"GB1", "GBpc-EUC-V"},
    {"GB1", "GBK-EUC-H"},
    {"GB1", "GBK-EUC-V"},
    {"GB1", "GBKp-EUC-H", "GBK-EUC-H"},
    {"GB1", "GBKp-EUC-V"},
    {"GB1", "GBK2K-H", "GBK-EUC-H"},
    {"GB1", "GBK2K-V"},
    {"GB1", "UniGB-UCS2-H"},
    {"GB1", "UniGB-UCS2-V"},
    {"GB1", "UniGB-UTF16-H", "UniGB-UCS2-H"},
    {"GB1", "UniGB-UTF16-V"},
    {"CNS1", "B5pc-H"},
    {"CNS1", "B5pc-V"},
    {"CNS1", "HKscs-B5-H"},
    {"CNS1", "HKscs-B5-V"},
    {"CNS1", "ETen-B5-H", "B5pc-H"},
    {"CNS1", "ETen-B5-V"},
    {"CNS1", "ETenms-B5-H"},
    {"CNS1", "ETenms-B5-V"},
    {"CNS1", "CNS-EUC-H"},
    {"CNS1", "CNS-EUC-V", "CNS-EUC-H"},
    {"CNS1", "UniCNS-UCS2-H"},
    {"CNS1", "UniCNS-UCS2-V"},
    {"CNS1", "UniCNS-UTF16-H", "UniCNS-UCS2-H"},
    {"CNS1", "UniCNS-UTF16-V"},
    {"Japan1", "83pv-RKSJ-H"},
    {"Japan1", "90ms-RKSJ-H"},
    {"Japan1", "90ms-RKSJ-V"},
    {"Japan1", "90msp-RKSJ-H", "90ms-RKSJ-H"},
    {"Japan1", "90msp-RKSJ-V"},
    {"Japan1", "90pv-RKSJ-H", "90ms-RKSJ-H"},
    {"Japan1", "90pv-RKSJ-V"},
    {"Japan1", "Add-RKSJ-H"},
    {"Japan1", "Add-RKSJ-V"},
    {"Japan1", "Ext-RKSJ-H", "Add-RKSJ-H"},
    {"Japan1", "Ext-RKSJ-V"},
    {"Japan1", "EUC-H"},
    {"Japan1", "EUC-V"},
    {"Japan1", "H"},
    {"Japan1", "V"},
    {"Japan1", "UniJIS-UCS2-H"},
    {"Japan1", "UniJIS-UCS2-V"},
    {"Japan1", "UniJIS-UCS2-HW-H"},
    {"Japan1", "UniJIS-UCS2-HW-V"},
    {"Japan1", "UniJIS-UTF16-H", "UniJIS-UCS2-H"},
    {"Japan1", "UniJIS-UTF16-V"},
    {"Japan1", "UniJIS2004-UTF16-H", "UniJIS-UTF16-H"},
    {"Japan1", "UniJIS2004-UTF16-V", "UniJIS-UTF16-V"},
    {"Korea1", "KSC-EUC-H"},
    {"Korea1", "KSC-EUC-V"},
    {"Korea1", "KSCms-UHC-H", "KSC-EUC-H"},
    {"Korea1", "KSCms-UHC-V"},
    {"Korea1", "KSCms-UHC-HW-H", "KSCms-UHC-H"},
    {"Korea1", "KSCms-UHC-HW-V"},
    {"Korea1", "KSCpc-EUC-H", "KSC-EUC-H"},
    {"Korea1", "KSCpc-EUC-V"},
    {"Korea1", "UniKS-UCS2-H"},
    {"Korea1", "UniKS-UCS2-V"},
    {"Korea1", "UniKS-UTF16-H", "UniKS-UCS2-H"},
    {"Korea1", "UniKS-UTF16-V"},
};

int fail(const std::string& what) {
  std::fprintf(stderr, "pack_cmaps: %s\n", what.c_str());
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return fail("usage: pack_cmaps FOLDER FILE");
  const std::filesystem::path folder = argv[1];
  std::map<std::string, int> places = {{"", -1}};
  std::vector<CmapText> unpacked;
  Bytes packed;
  std::string table;
  for (const Entry& entry : kEntries) {
    const std::filesystem::path path = folder / (std::string("Adobe-") + entry.collection) / entry.name;
    std::ifstream file(path, std::ios::binary);
    const Bytes text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const auto cmap = readCmapText(text);
    if (!file || !cmap || (cmap->cids.empty() && cmap->base.empty()))
      return fail("cannot read " + path.string());
    const auto base = places.find(cmap->base), like = places.find(entry.like);
    if (base == places.end() || like == places.end()) return fail(std::string("out of order: ") + entry.name);
    const CmapText* model = like->second < 0 ? nullptr : &unpacked[static_cast<std::size_t>(like->second)];
    const Bytes bytes = packCmap(*cmap, model);
    const auto again = unpackCmap(bytes, model);
    if (!again) return fail(std::string("does not unpack: ") + entry.name);
    places.emplace(entry.name, static_cast<int>(unpacked.size()));
    unpacked.push_back(*again);
    table += "    {\"" + std::string(entry.name) + "\", " + std::to_string(base->second) + ", " +
             std::to_string(like->second) + ", " + std::to_string(packed.size()) + ", " +
             std::to_string(bytes.size()) + "},\n";
    packed.insert(packed.end(), bytes.begin(), bytes.end());
  }
  std::ofstream out(argv[2], std::ios::binary);
  out << "constexpr PackedCmap kCmaps[] = {\n" << table << "};\nconstexpr std::uint8_t kPackedCmaps[] = {";
  for (std::size_t i = 0; i < packed.size(); ++i) out << (i % 32 == 0 ? "\n" : "") << int{packed[i]} << ',';
  out << "\n};\n";
  out.close();
  return out ? 0 : fail(std::string("cannot write ") + argv[2]);
}
