// clsSeparater: splits a string at one separator character into separately owned fields.
#ifndef ANADATA_CLSSEPARATER_H
#define ANADATA_CLSSEPARATER_H

#include "anadata_export.h"

// Holds the non-empty fields of one split string. Runs of separators count as one, and
// leading and trailing separators are dropped, so "a,,b," split at ',' gives "a" and "b".
// The object owns every field and the list; pointers returned by operator[] stay valid until
// the next set(), assignment, free() or destruction. Not thread-safe.
class ANADATA_API clsSeparater {
public:
    // The empty string returned for an index past the end; shared, never write to it.
    static char nul;

    // Fields, each a zero-terminated copy owned by the object; null when nothing is held.
    char** list;
    // Number of valid fields. free() leaves it unchanged; set() and assignment reset it.
    int count;

    // Empty object: list null, count 0.
    clsSeparater();
    // Equivalent to clsSeparater() followed by set(s, sep).
    clsSeparater(const char* s, char sep);
    // Deep copy of every field.
    clsSeparater(const clsSeparater& other);
    // Releases the current fields, then deep-copies `other`; returns *this.
    clsSeparater& operator=(const clsSeparater& other);
    ~clsSeparater();

    // Replaces the contents by the fields of s split at sep and returns their number.
    // A separator of '\0' makes a non-empty s one field. Throws std::bad_alloc only.
    int set(const char* s, char sep);

    // Field i, or &nul when i is not in 0..count-1.
    char* operator[](int i);

    // Releases every field and the list; count keeps its value.
    void free();
};

#endif
