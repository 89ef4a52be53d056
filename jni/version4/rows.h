// The rows of the table, each defined at the end of its analyzer's file.
#pragma once

#include "version4/algorithms.h"

namespace version4 {

extern const Algorithm kAdts;
extern const Algorithm kAiff;
extern const Algorithm kFlac;
extern const Algorithm kHeif;
extern const Algorithm kIsoMedia;
extern const Algorithm kJpeg2000;
extern const Algorithm kJpegXl;
extern const Algorithm kMatroska;
extern const Algorithm kMpegAudio;
extern const Algorithm kOgg;
extern const Algorithm kPng;
extern const Algorithm kRaf;
extern const Algorithm kTiff;
extern const Algorithm kWave;
extern const Algorithm kWebp;

}  // namespace version4
