// Formatting the "filedate" of a registration.
#include "FileDate.h"

#include <cstdio>

std::string catalogueDate(std::time_t when) {
    struct tm local;
    localtime_r(&when, &local);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", local.tm_year + 1900, local.tm_mon + 1,
                  local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    return text;
}
