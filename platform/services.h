// All services together, as the tool is given them.
#pragma once

#include "platform/bookmarks.h"
#include "platform/files.h"
#include "platform/formatting.h"
#include "platform/preferences.h"
#include "platform/process.h"
#include "platform/queues.h"

namespace platform {

struct Services {
  FileManager& files;
  PreferencesStore& preferences;
  Bookmarks& bookmarks;
  Formatting& formatting;
  Process& process;
  Queues& queues;
};

// The operating system's own. Made on first use, alive until the process ends.
Services& systemServices();

}  // namespace platform
