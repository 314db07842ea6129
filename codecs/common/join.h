// Joins a reader and a writer: the whole work of a converter.
#pragma once

#include "common/rows.h"

namespace img {

// All rows go from the reader to the writer, to the end of both files: as one of them does it by itself, or in strips.
// With two threads and more the next strip is read while one is written.
Error copyRows(RowReader& reader, RowWriter& writer, int threads, const Progress& progress = {});

} // namespace img
