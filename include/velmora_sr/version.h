/* Version of libvelmora_sr: the one place it is written. The build reads these lines for the
 * package version and the soname, the version banner is made from them, and a program can compare
 * the header it was compiled with against the banner of the library that it runs with. */
#ifndef VELMORA_SR_VERSION_H
#define VELMORA_SR_VERSION_H

#define VELMORA_SR_VERSION_MAJOR 1 /* also the soname: raised when a record or function changes */
#define VELMORA_SR_VERSION_MINOR 2
#define VELMORA_SR_VERSION_PATCH 6
#define VELMORA_SR_VERSION_BUILD 83234

#define VELMORA_SR_VERSION_STRING "1.2.6"
/* Text of the "Version" line that the library logs at every creation and process call. */
#define VELMORA_SR_VERSION_BANNER "ZELK_V1.2.6<83234>"

#endif /* VELMORA_SR_VERSION_H */
