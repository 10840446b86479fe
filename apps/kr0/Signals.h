/// @file
/// Internal: what happens when somebody ends the tool in the middle of its work (Ctrl-C, SIGTERM, SIGHUP).
#pragma once

namespace kr::zero::tool {

/// From now on the signals that end the tool leave no unfinished file behind (io::removeUnfinishedFiles). One
/// that is ignored, by nohup for one, stays so.
void leaveNothingHalfWritten();

/// While one lives, such a signal only makes isWanted() true, and ends the tool when the last one is gone:
/// for work that leaves more behind than a handler can clear away, and asks often enough.
class PatientEnd {
 public:
  PatientEnd();
  ~PatientEnd();
  PatientEnd(const PatientEnd&) = delete;
  PatientEnd& operator=(const PatientEnd&) = delete;
  static bool isWanted();
};

}  // namespace kr::zero::tool
