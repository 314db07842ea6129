// Joins a reader and a writer: the whole work of a converter.
#pragma once

#include <functional>

#include "common/rows.h"

namespace img {

// Rows go from the reader to the writer in strips, to the end of both files. With two threads and more the next strip
// is read while one is written. `progress`, if given, hears how many rows have been written.
Error copyRows(RowReader& reader, RowWriter& writer, int threads, const std::function<void(int)>& progress = {});

} // namespace img
