// StoreCheck.h - vkdb check: what is wrong with a store, from its bytes and from what the
// library's loader made of them. A sound store gives no findings. Notes tell what is not
// wrong but worth knowing (a flush the library finished at load).
#ifndef VKDB_STORE_CHECK_H
#define VKDB_STORE_CHECK_H

#include <string>
#include <vector>

#include "LoadedStore.h"
#include "StoreImage.h"

namespace vkp {

struct CheckResult {
  std::vector<std::string> findings;
  std::vector<std::string> notes;
};

// `loaded` may be null (the library could not attach the store).
CheckResult CheckStore(const StoreImage& image, const LoadedStore* loaded);

// The full path the raw records give an object (the rules of the library's paths), or
// "" when no chain of parent links leads to a drive or hive; `tooLong` is set when the
// path exists but is longer than the 259 characters the library builds.
std::string RawPath(const StoreImage& image, uint32_t id, bool* tooLong);

}  // namespace vkp

#endif
