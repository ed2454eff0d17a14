#include "driver/directory_scan.h"

#include "platform/plat.h"
#include "platform/tbx.h"

namespace driver {

int scanDirectory(const std::string& path, std::vector<std::string>& files) {
  std::string dir = path;
  plat::FileInfo info;
  if (!info.init(dir, true)) {
    tbx::cout << "[cfgcheck]: can't access directory " << path << tbx::endl;
    // the reason is not flushed here; the next line carries it out
    tbx::cout << "Error getting FileInfo of path: " << tbx::ErrorStorage::reason() << '\n';
    tbx::ErrorStorage::ack();
    return 1;
  }
  if (info.getType() != plat::FileInfo::type_directory) {
    tbx::cout << "[cfgcheck]: can't access directory " << path << tbx::endl;
    return 1;
  }
  plat::Directory listing(dir, false);
  if (!listing.isOpen()) {
    tbx::cout << "[cfgcheck]: can't access directory " << path << tbx::endl;
    return 1;
  }
  do {
    const std::string& name = listing.name();
    if (!name.empty() && name.find(".json") != std::string::npos) {
      if (!dir.empty() && dir.back() != '/' && dir.back() != '\\') dir += '/';
      files.push_back(dir + name);
    }
  } while (!listing.next());
  return 0;
}

}  // namespace driver
