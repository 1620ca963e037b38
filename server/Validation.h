// Checks on what a client sends: names that must be safe as path components, numbers, lengths.
#ifndef ANADATA_SERVER_VALIDATION_H
#define ANADATA_SERVER_VALIDATION_H

#include <string>

#include "CatalogueEntry.h"

class ns__TavolenInfo;

// Throws ServiceError unless name is usable as one path component: 1 to 255 bytes, not "." or "..",
// no '/', '\\' or control character. what names the field in the message.
void requireSafeName(const std::string& name, const char* what);

// Sub-shot 0 stands for sub-shot 1, as the client library registers it; negative ones are refused.
int effectiveSubshot(int sub);

// The catalogue entry a registration request describes (directory left empty); the account is the
// authenticated user. Throws ServiceError for an unusable record.
CatalogueEntry entryFromRequest(const ns__TavolenInfo& info, const std::string& user, std::int64_t maxLength);

// The local time as "YYYY-MM-DD hh:mm:ss".
std::string currentFileDate();

#endif
