// The process-wide settings that the access object's operations use, as one copy taken under their lock.
#ifndef ANADATA_ACCESS_ACCESS_SETTINGS_H
#define ANADATA_ACCESS_ACCESS_SETTINGS_H

#include <string>

namespace anadata::detail {

struct AccessSettings {
    std::string endpoint;
    std::string account;
    std::string password;
    std::string caFile;  // empty: the system's store
};

// The settings as they are now; an operation takes them once, so that a change made meanwhile on
// another thread (userset, passset, iniload) reaches only later operations.
AccessSettings accessSettings();

}  // namespace anadata::detail

#endif
