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

class Strip {
 public:
  Strip(const Picture& picture, int rows) : step_(picture.rowBytes()), bytes_(step_ * static_cast<size_t>(rows)) {}

  Error read(RowReader& reader, int count) {
    count_ = count;
    return count ? reader.read(rows()) : Error{};
  }
  Error write(RowWriter& writer) const { return writer.write(asConst(rows())); }
  int count() const { return count_; }

 private:
  Rows rows() const { return {bytes_.data(), static_cast<ptrdiff_t>(step_), count_}; }

  size_t step_;
  AlignedArray<uint8_t> bytes_;
  int count_ = 0;
};

} // namespace

Error copyRows(RowReader& reader, RowWriter& writer, int threads, const std::function<void(int)>& progress) {
  const Picture& picture = reader.picture();
  const int most = rowsOfStrip(reader, writer);
  Workers workers(threads > 1 ? 2 : 1);
  Strip now(picture, most), next(picture, workers.count() > 1 ? most : 0);
  if (Error error = now.read(reader, most)) return error;
  for (int y = 0; y < picture.height;) {
    const int left = picture.height - y - now.count();
    Error error, nextError;
    if (workers.count() == 1) {
      error = now.write(writer);
    } else {
      workers.run(2, [&](int, int64_t item, Turns&) {
        if (item == 0)
          error = now.write(writer);
        else
          nextError = next.read(reader, std::min(most, left));
        return true;
      });
    }
    y += now.count();
    if (!error) error = nextError;
    if (!error && workers.count() == 1) error = now.read(reader, std::min(most, left));
    if (error) return error;
    if (workers.count() > 1) std::swap(now, next);
    if (progress) progress(y);
  }
  if (Error error = reader.finish()) return error;
  return writer.finish();
}

} // namespace img
