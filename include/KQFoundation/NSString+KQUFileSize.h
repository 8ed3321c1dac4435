#pragma once
// NSString(KQUFileSize): the names of the file-size units.
//
//   stringWithFileSizeUnit(unit)  The unit's localized name ("byte", "bytes",
//                                 "KB" ... "EB", or the translation the host's
//                                 or the library's strings give). Throws
//                                 kq::RangeException for a unit outside 0-7.
#include <string>

#include "KQFoundation/Export.h"
#include "KQFoundation/KQUFileSize.h"

namespace kq {

KQ_EXPORT std::string stringWithFileSizeUnit(KQUFileSizeUnit unit);

}  // namespace kq
