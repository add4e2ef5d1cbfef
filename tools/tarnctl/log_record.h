// A record of a log as JSON.
#pragma once

#include <string>

#include "json.h"

namespace tarnctl {

// An object with the record's fields; of lines that are no record, with their text alone.
Json objectOfRecord(const std::string& record);

} // namespace tarnctl
