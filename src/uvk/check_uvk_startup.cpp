#include "uvk/check_uvk_startup.h"

namespace uvk {

int checkUVKStartup(const char*) { return 0; }

}  // namespace uvk
