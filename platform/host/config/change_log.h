// The log of changes in the configuration's database: a row for each write, placed by the bytes before it. All of it
// within a transaction of the caller; results are 0 or an errno.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "config/change_record.h"
#include "config/database.h"

namespace tarn::host {

int readEnd(Database& database, int64_t& end);
// Cuts off what has become too old.
int appendLog(Database& database, int64_t start, const std::string& packed);
// The row behind `offset`, if there is one; `start` is where it begins.
int readNext(Database& database, int64_t& offset, int64_t& start, std::vector<ConfigChange>& changes);
// The present values of all that was changed behind `number`.
int readSince(Database& database, int64_t number, std::vector<ConfigChange>& changes);

} // namespace tarn::host
