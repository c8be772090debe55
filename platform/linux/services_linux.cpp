#include "platform/linux/bookmarks_linux.h"
#include "platform/linux/files_linux.h"
#include "platform/linux/formatting_linux.h"
#include "platform/linux/preferences_linux.h"
#include "platform/linux/process_linux.h"
#include "platform/linux/queues_linux.h"
#include "platform/services.h"

namespace platform {

Services& systemServices() {
  // Never destroyed: operations may still run while the process ends.
  struct All {
    LinuxFileManager files;
    LinuxPreferencesStore preferences;
    LinuxBookmarks bookmarks;
    LinuxFormatting formatting;
    LinuxProcess process;
    ThreadQueues queues;
    Services services{files, preferences, bookmarks, formatting, process, queues};
  };
  static All& all = *new All;
  return all.services;
}

}  // namespace platform
