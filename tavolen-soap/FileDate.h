// The catalogue's text form of a file's date.
#ifndef ANADATA_FILEDATE_H
#define ANADATA_FILEDATE_H

#include <ctime>
#include <string>

// "YYYY-MM-DD hh:mm:ss" in local time, as a registration's "filedate" carries it.
std::string catalogueDate(std::time_t when);

#endif
