// The records in which hosts are told of the last picture.
#ifndef VELMORA_SRC_BURST_HANDLE_REPORT_RECORDS_H
#define VELMORA_SRC_BURST_HANDLE_REPORT_RECORDS_H

#include "burst/handle/burst_handle.h"

namespace velmora::burst {

/// `size` is left 0 in both.
Velmora_SR_BurstFrameReport frameReport(const Outcome& outcome);
Velmora_SR_BurstReport pictureReport(const Velmora_SR_Burst& burst);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_HANDLE_REPORT_RECORDS_H
