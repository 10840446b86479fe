/// @file
/// Archives of real models, beside what gzip makes of the XMI document. Where the library of archives is not
/// built, nothing is measured.
#pragma once

#include <string>
#include <vector>

#include "Figures.h"
#include "Forms.h"
#include "Rows.h"

namespace kr::zero::bench {

/// Adds what archives take (also without their meta model), gzip, and files of the direct format, which
/// archives are compared with: "write" and "read" with the file, its synchronisation included.
/// @throws std::runtime_error where an archive gives another model.
void measureArchives(const LoadedModel& loaded, const std::string& name, Figures& figures);

/// Adds the gate's rows.
void measureArchiveRows(const std::vector<RealModel>& models, Rows& rows);

}  // namespace kr::zero::bench
