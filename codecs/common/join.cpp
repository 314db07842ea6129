#include "common/join.h"

#include <algorithm>
#include <numeric>

#include "common/aligned.h"
#include "common/workers.h"

namespace img {
namespace {

// A strip should stay in the cache between reader and writer, and be large enough for calls to cost little.
constexpr size_t kStripBytes = size_t{1} << 17;

int rowsOfStrip(const RowReader& reader, const RowWriter& writer) {
  const int64_t both = std::lcm(int64_t{reader.rowsAtOnce()}, int64_t{writer.rowsAtOnce()});
  const int most = std::max(reader.rowsAtOnce(), writer.rowsAtOnce());
  const int64_t unit = both <= 4 * most ? both : most;
  const auto wanted = static_cast<int64_t>(kStripBytes / reader.picture().rowBytes());
  return static_cast<int>(std::min<int64_t>(std::max<int64_t>(wanted / unit, 1) * unit, reader.picture().height));
}

Error copyInStrips(RowReader& reader, RowWriter& writer, int threads, const Progress& progress) {
  const Picture& picture = reader.picture();
  const int rowsOfItem = rowsOfStrip(reader, writer), items = (picture.height - 1) / rowsOfItem + 1;
  const size_t rowBytes = picture.rowBytes();
  const int workers = std::min(threads, 2);
  std::vector<AlignedArray<uint8_t>> strips(static_cast<size_t>(workers * Pipeline::kSlotsOfThread));
  const auto rowsOf = [&](int64_t item, int slot) {
    AlignedArray<uint8_t>& strip = strips[static_cast<size_t>(slot)];
    if (strip.size() == 0) strip = AlignedArray<uint8_t>(rowBytes * static_cast<size_t>(rowsOfItem));
    const int y = static_cast<int>(item) * rowsOfItem;
    return Rows{strip.data(), static_cast<ptrdiff_t>(rowBytes), std::min(rowsOfItem, picture.height - y)};
  };
  Error readError, writeError;
  Pipeline pipeline;
  pipeline.items = items;
  pipeline.begin = [&](int64_t item, int slot) { return !(readError = reader.read(rowsOf(item, slot))); };
  pipeline.work = [](int64_t, int) { return true; };
  pipeline.end = [&](int64_t item, int slot) {
    const Rows rows = rowsOf(item, slot);
    writeError = writer.write(asConst(rows));
    if (progress) progress(static_cast<int>(item) * rowsOfItem + rows.count);
    return !writeError;
  };
  run(pipeline, workers);
  return writeError ? writeError : readError;
}

} // namespace

Error copyRows(RowReader& reader, RowWriter& writer, int threads, const Progress& progress) {
  Error error = writer.pulls()    ? writer.pull(reader, progress)
                : reader.pushes() ? reader.push(writer, progress)
                                  : copyInStrips(reader, writer, threads, progress);
  if (!error) error = reader.finish();
  return error ? error : writer.finish();
}

} // namespace img
