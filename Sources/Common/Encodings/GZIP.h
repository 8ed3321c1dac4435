#pragma once
// gunzippedData with a settable output limit, so tests can reach it.
#include <cstddef>
#include <optional>

#include "KQFoundation/Foundation/Value.h"

namespace kq::detail {

std::optional<Data> gunzippedData(const Data& data, std::size_t maximumSize);

}  // namespace kq::detail
