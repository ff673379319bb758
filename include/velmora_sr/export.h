/* Marks what the shared library exports; everything else is compiled with hidden visibility. */
#ifndef VELMORA_SR_EXPORT_H
#define VELMORA_SR_EXPORT_H

#if defined(__GNUC__) || defined(__clang__)
#define VELMORA_API __attribute__((visibility("default")))
#else
#define VELMORA_API
#endif

#endif /* VELMORA_SR_EXPORT_H */
