// Configuration: the XML thresholds and the kernel file.
#ifndef VELMORA_SR_CONFIGURATION_H
#define VELMORA_SR_CONFIGURATION_H

#include <cstddef>

#include "velmora_sr/export.h"
#include "velmora_sr/velmora_sr.h"
#include "velmora_sr/xml_document.h"

/// Reads both files of a handle: what VELMORA_SR_Create does with its two paths. Not beside other
/// calls of the library.
///
/// The XML file holds the de-ghosting thresholds, decimal integers in the texts of
/// "/Config/GhostCorrection/LowThr" (default 1) and "/Config/GhostCorrection/HighThr" (default 5);
/// they go to `zelkParamPrivate` unchecked (CheckParams checks them). Give the file an XML
/// declaration: without one, and with nothing beside the Config element, the document is that
/// element itself, no "/Config" is found below it, and the defaults apply.
///
/// The kernel file, little-endian: the phase count Q (int32); Q * Q rows of 17 int16 values, Q rows
/// of 4 and Q rows of 4, as they go to Lanczos2D_4_2_Fix_Sharp, Lanczos1D_4_2_Fix_sharp and
/// Lanczos1D_4_2_Fix. They take the place of tables that are installed.
///
/// @param configPath  null: thresholds 1 and 5. Below 3 characters:
///                    "/system/etc/camera/zelk/zelk.xml". A file that is missing, no XML or above
///                    16 MiB counts as one without thresholds
/// @param kernelPath  null, not openable, Q outside 1..1024, or too large for the memory: the
///                    compiled-in tables. Below 3 characters:
///                    "/system/etc/camera/zelk/zelk_kernel". A file without a whole Q installs
///                    nothing, and process calls fail: do not ship an empty one. Rows that the file
///                    is too short for are 0
/// Always returns SR_RET_SUCCEED; the system log tells which files were taken.
VELMORA_API Velmora_SR_ESR_RET ParseConfigFile(const char* configPath, const char* kernelPath);

/// Installs the compiled-in tables (50 phases) in place of those installed, and says so in the log.
/// When memory runs out the installed tables stay, and the log says that.
VELMORA_API void LoadDefaultKernelFile();

/// Values by path, e.g. "/Config/GhostCorrection/LowThr": the names of nested elements below the
/// document's top node (see XMLNode::parseString), of each the first that has the name, without
/// regard to case. Every getter answers its default where the element, its text or a number at the
/// front of its text is missing. Numbers are decimal and saturate at the range of their type. One
/// thread at a time.
class VELMORA_API XmlConfig {
 public:
  XmlConfig();
  ~XmlConfig();
  XmlConfig(const XmlConfig&) = delete;
  XmlConfig& operator=(const XmlConfig&) = delete;

  /// Reads a file, in place of what was read before. One that is missing or no XML gives a document
  /// with an empty Config element. Returns 1, or 0 when even that failed for want of memory.
  int LoadConfig(const char* path);

  /// Reads a configuration from the bytes of a file, as LoadConfig reads one from the file itself.
  /// @param data  `size` bytes, or null for none; read during the call only
  int LoadDocument(const char* data, std::size_t size);

  /// Finds the element at a path.
  /// @param path  begins with "/" and is below 257 bytes, of which 255 count
  /// @return the empty node for any other path, null included, and for an element that is not there
  [[nodiscard]] XMLNode SearchNode(const char* path) const;

  /// The whole number at the head of the element's text, saturated; the default if there is none.
  [[nodiscard]] int GetInteger(const char* path, int defaultValue) const;
  /// The number at the head of the element's text, saturated; the default if there is none.
  [[nodiscard]] float GetFloat(const char* path, float defaultValue) const;
  /// The element's first text, which lives until the next LoadConfig, or the default itself.
  [[nodiscard]] const char* GetString(const char* path, const char* defaultValue) const;

  // Lists of numbers, separated by blanks, commas or semicolons. Reading ends after n numbers, at
  // the end of the text or at anything else, and leaves the rest of `out` as it is.
  //   out  n values; may be null if n is below 1
  // The result is the number of values read.

  /// Reads up to n whole numbers of 16 bits.
  int GetVectorShort(const char* path, short* out, int n) const;
  /// Reads up to n whole numbers of 32 bits.
  int GetVectorInt(const char* path, int* out, int n) const;
  /// Reads up to n whole numbers of 32 bits, without a sign.
  int GetVectorUnsignedInt(const char* path, unsigned* out, int n) const;
  /// Reads up to n numbers in single precision.
  int GetVectorFloat(const char* path, float* out, int n) const;

 private:
  XMLNode root_;
};

#endif  // VELMORA_SR_CONFIGURATION_H
