#pragma once

namespace uvk {

// Content check of "uvkstartup.json". Returns 0 when nothing was found, 1 otherwise.
int checkUVKStartup(const char* path);

}  // namespace uvk
