#include "platform/testing/fake_files.h"

#include "platform/path.h"

namespace platform {
namespace {

PlatformError cocoaError(long code, const std::string& text, const std::string& path) {
  return {"NSCocoaErrorDomain", code, {{localizedDescriptionKey, text}, {filePathKey, path}}, nullptr};
}

}  // namespace

PlatformError FakeFileManager::missing(const std::string& path) {
  return cocoaError(
      260, "The file “" + lastPathComponent(path) + "” couldn’t be opened because there is no such file.", path);
}

PlatformError FakeFileManager::notAllowed(const std::string& path) {
  return cocoaError(513,
                    "You don’t have permission to save the file “" + lastPathComponent(path) + "” in the folder “" +
                        lastPathComponent(deletingLastPathComponent(path)) + "”.",
                    path);
}

void FakeFileManager::add(const std::string& path, std::size_t size, std::optional<TimePoint> creationDate,
                          std::optional<TimePoint> modificationDate) {
  FakeFile file;
  file.bytes.resize(size, 'x');
  file.attributes.creationDate = creationDate;
  file.attributes.modificationDate = modificationDate;
  items[path] = file;
}

void FakeFileManager::fail(const std::string& operation, const std::string& path, PlatformError error) {
  failures_.insert_or_assign({operation, path}, std::move(error));
}

const PlatformError* FakeFileManager::begin(const std::string& operation, const std::string& path,
                                            const std::string& detail) {
  calls.push_back(operation + " " + path + detail);
  for (const std::string& key : {path, std::string()}) {
    const auto found = failures_.find({operation, key});
    if (found != failures_.end()) return &found->second;
  }
  return nullptr;
}

Result<std::vector<std::uint8_t>> FakeFileManager::readFile(const std::string& path) {
  if (const PlatformError* error = begin("readFile", path)) return *error;
  const auto found = items.find(path);
  if (found == items.end()) return missing(path);
  return found->second.bytes;
}

Result<FileAttributes> FakeFileManager::attributesOfItem(const std::string& path) {
  if (const PlatformError* error = begin("attributesOfItem", path)) return *error;
  const auto found = items.find(path);
  if (found == items.end()) return missing(path);
  FileAttributes attributes = found->second.attributes;
  attributes.size = static_cast<std::int64_t>(found->second.bytes.size());
  if (attributesWithoutSize.count(path) > 0) attributes.size.reset();
  return attributes;
}

Status FakeFileManager::setAttributes(const FileAttributeChanges& changes, const std::string& path) {
  if (const PlatformError* error = begin("setAttributes", path)) return *error;
  const auto found = items.find(path);
  if (found == items.end()) return missing(path);
  FileAttributes& attributes = found->second.attributes;
  if (changes.creationDate) attributes.creationDate = changes.creationDate;
  if (changes.modificationDate) attributes.modificationDate = changes.modificationDate;
  return Done{};
}

bool FakeFileManager::fileExists(const std::string& path) {
  return begin("fileExists", path) == nullptr && items.count(path) > 0;
}

Status FakeFileManager::createDirectory(const std::string& path) {
  if (const PlatformError* error = begin("createDirectory", path)) return *error;
  addFolder(path);
  return Done{};
}

Status FakeFileManager::moveItem(const std::string& from, const std::string& to) {
  if (const PlatformError* error = begin("moveItem", from, " -> " + to)) return *error;
  const auto found = items.find(from);
  if (found == items.end()) return missing(from);
  if (items.count(to) > 0)
    return cocoaError(516,
                      "“" + lastPathComponent(from) + "” couldn’t be moved to “" +
                          lastPathComponent(deletingLastPathComponent(to)) +
                          "” because an item with the same name already exists.",
                      from);
  items[to] = found->second;
  items.erase(from);
  return Done{};
}

Status FakeFileManager::trashItem(const std::string& path) {
  if (const PlatformError* error = begin("trashItem", path)) return *error;
  if (items.erase(path) == 0) return missing(path);
  trashed.push_back(path);
  return Done{};
}

Status FakeFileManager::removeItem(const std::string& path) {
  if (const PlatformError* error = begin("removeItem", path)) return *error;
  if (items.erase(path) == 0) return missing(path);
  return Done{};
}

Result<std::vector<std::string>> FakeFileManager::tagNames(const std::string& path) {
  if (const PlatformError* error = begin("tagNames", path)) return *error;
  const auto found = items.find(path);
  if (found == items.end()) return missing(path);
  return found->second.tags;
}

Status FakeFileManager::setTagNames(const std::vector<std::string>& names, const std::string& path) {
  std::string detail = ":";
  for (const std::string& name : names) detail += " " + name;
  if (const PlatformError* error = begin("setTagNames", path, detail)) return *error;
  const auto found = items.find(path);
  if (found == items.end()) return missing(path);
  found->second.tags = names;
  return Done{};
}

void FakeFileManager::copyDocumentMetadata(const std::string& from, const std::string& to) {
  (void)begin("copyDocumentMetadata", from, " -> " + to);
}

bool FakeFileManager::enumerate(const std::string& folder, unsigned options, const ItemHandler& item,
                                const EnumerationErrorHandler& onError) {
  enumerationOptions.push_back(options);
  if (const PlatformError* error = begin("enumerate", folder)) {
    onError(folder, true, *error);
    return true;
  }
  if (!canEnumerate) return false;
  const auto scripted = enumerations.find(folder);
  if (scripted != enumerations.end()) {
    for (const std::string& path : scripted->second) item(path);
    return true;
  }
  const std::string start = appendingPathComponent(folder, "");
  for (const auto& [path, file] : items) {
    if (path.compare(0, start.size(), start) != 0) continue;
    if ((options & skipSubdirectoryDescendants) && path.find('/', start.size()) != std::string::npos) continue;
    item(path);
  }
  return true;
}

}  // namespace platform
