// The library-wide record and the texts of the internal result codes.
#include "velmora_sr/records.h"

SR_ParamsPrivate zelkParamPrivate = {};

const char* GetRetInfo(Velmora_SR_ESR_RET code) {
  switch (code) {
    case SR_RET_SUCCEED:
      return "succeed.";
    case SR_RET_LOAD_CONFIG_FAILED:
      return "load config file failed.";
    case SR_RET_ALLOC_FAILED:
      return "alloc memory failed.";
    case SR_RET_PARAMS_OUT_OF_RANGE:
      return "params out of range.";
    case SR_RET_ODD_EVEN_INCONSISTENT:
      return "odd even not consistent.";
  }
  return "unknow error info.";
}
