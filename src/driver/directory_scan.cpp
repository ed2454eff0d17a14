#include "driver/directory_scan.h"

#include "platform/plat.h"
#include "platform/tbx.h"
#include "support/report.h"

namespace driver {

int scanDirectory(const std::string& path, std::vector<std::string>& files) {
  std::string dir = path;
  plat::FileInfo info;
  if (!info.init(dir, true)) {
    const char* reason = tbx::ErrorStorage::reason();
    support::Finding f = support::finding(support::rules::D1, {}, "[cfgcheck]: ", "can't access directory ", path);
    f.file = path;
    f.trailer = std::string("Error getting FileInfo of path: ") + (reason != nullptr ? reason : "");
    support::report(std::move(f));
    tbx::ErrorStorage::ack();
    return 1;
  }
  plat::Directory listing(dir, false);
  if (info.getType() != plat::FileInfo::type_directory || !listing.isOpen()) {
    support::Finding f = support::finding(support::rules::D1, {}, "[cfgcheck]: ", "can't access directory ", path);
    f.file = path;
    support::report(std::move(f));
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
