// The exported instances of UtilsAllocator for scalar elements.
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
#include "UtilsAllocator"

namespace UTILS {

template class UTILS_API UtilsAllocator<char>;
template class UTILS_API UtilsAllocator<unsigned char>;
template class UTILS_API UtilsAllocator<unsigned short>;
template class UTILS_API UtilsAllocator<int>;
template class UTILS_API UtilsAllocator<TOKEN_GROUPS>;

}  // namespace UTILS
