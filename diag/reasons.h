// The reason of the last refusal: how the flat interface states it. Internal: not installed.
//
// A reason is a record of fixed size, made where the refusal is seen; nothing is computed while a
// function succeeds, and the sentence is composed only when somebody asks for it.
#ifndef ZEL_FTC_DIAG_REASONS_H
#define ZEL_FTC_DIAG_REASONS_H

#include <cstdint>

#include "zel_ftc_diag.h"

class ZelFTCTool;

namespace zel::diag {

class Text;

/// A reason of this kind; what does not apply is empty.
zel_ftc_reason because(ZelReasonKind kind, const char* argument = "");

/// What a value must be, as a check compares it.
struct Must {
  ZelRelation relation;
  double limit;
  double upper = 0.0;
};

/// `argument` is not what it must be: not finite, or out of range.
zel_ftc_reason unfit(const char* argument, double value, Must must, const char* unit = "");

/// A sensor function returned false: not connected, an exchange that failed, or the status. `ip` is
/// the address of a start.
zel_ftc_reason sensorRefused(const char* ip = nullptr);

/// A run of the tool ended or failed with `code`.
zel_ftc_reason runEnded(const ZelFTCTool& tool, ZelRunKind run, std::int32_t code);

/// An eleventh calibration sample; a calibration that returned false; a zero on a used sample.
zel_ftc_reason listFull();
zel_ftc_reason calibrationFailed(const ZelFTCTool& tool);
zel_ftc_reason sampleUsed();

/// ZelMissing bits of the settings that every run needs, and their names: "..., ... not set".
std::uint32_t missingSettings(const ZelFTCTool& tool);
void writeMissingSettings(Text& text, std::uint32_t bits);

/// Keeps the reason as the last one and returns `result`.
int refuse(const char* function, int result, const zel_ftc_reason& reason);

}  // namespace zel::diag

#endif
