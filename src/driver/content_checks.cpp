#include "driver/content_checks.h"

#include "driver/transport_report.h"
#include "framework/check_fw_config.h"
#include "support/report.h"
#include "servicemgr/check_sm_config.h"
#include "servicemgr/check_sm_restart_config.h"
#include "uvk/check_uvk_startup.h"

namespace driver {

namespace {
void announce(const std::string& path) { support::contentStart(path); }
}  // namespace

void runContentChecks(const KnownFiles& files, bool verbose, bool transport, bool& checkResult, bool& errorFlag) {
  // The framework file goes first: it declares the names the others refer to.
  if (!files.framework.empty()) {
    announce(files.framework);
    if (framework::checkFWConfig(files.framework.c_str(), verbose) != 0) checkResult = true;
  }
  if (!files.servicemgr.empty() && !files.framework.empty()) {
    announce(files.servicemgr);
    if (servicemgr::checkSMconfig(files.servicemgr.c_str()) != 0) checkResult = true;
  }
  if (!files.restart.empty() && !files.framework.empty()) {
    announce(files.restart);
    if (servicemgr::checkSMRestartconfig(files.restart.c_str()) != 0) checkResult = true;
  }
  bool uvkFindings = false;
  if (!files.servicemgr.empty() && !files.framework.empty() && !files.uvk.empty()) {
    announce(files.uvk);
    if (uvk::checkUVKStartup(files.uvk.c_str()) != 0) {
      errorFlag = true;
      uvkFindings = true;
    }
  }
  if (transport && !files.framework.empty() && !uvkFindings) {
    if (transportReport(files.framework.c_str()) != 0) checkResult = true;
  }
}

}  // namespace driver
