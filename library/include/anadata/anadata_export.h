/* Marks the symbols that libanadata exports; everything else is hidden. */
#ifndef ANADATA_EXPORT_H
#define ANADATA_EXPORT_H

#if defined(__GNUC__) || defined(__clang__)
#define ANADATA_API __attribute__((visibility("default")))
#else
#define ANADATA_API
#endif

#endif
