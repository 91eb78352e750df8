// The exported instances of UtilsBase, MemObject and Utils for characters and bytes.
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
#include "UtilsVector"

namespace UTILS {

template class UTILS_API UtilsBase<char>;
template class UTILS_API UtilsBase<unsigned char>;
template class UTILS_API UtilsBase<int>;
template class UTILS_API MemObject<char>;
template class UTILS_API MemObject<unsigned char>;
template class UTILS_API UtilsAllocator<MemObject<char> >;
template class UTILS_API UtilsAllocator<MemObject<unsigned char> >;
template class UTILS_API UtilsAllocator<MemObject<char>*>;
template class UTILS_API UtilsAllocator<MemObject<unsigned char>*>;
template class UTILS_API Utils<char, int>;
template class UTILS_API Utils<unsigned char, int>;

}  // namespace UTILS
