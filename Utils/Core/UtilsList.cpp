// The exported instances of the list templates for characters and bytes.
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
#include "UtilsList"
#include "UtilsVector"

namespace UTILS {

template class UTILS_API Node<char>;
template class UTILS_API Node<unsigned char>;
template class UTILS_API ListObject<char>;
template class UTILS_API ListObject<unsigned char>;
template class UTILS_API MapNode<int, char>;
template class UTILS_API MapNode<int, unsigned char>;
template class UTILS_API MapObject<int, char>;
template class UTILS_API MapObject<int, unsigned char>;
template class UTILS_API UtilsAllocator<ListObject<char> >;
template class UTILS_API UtilsAllocator<ListObject<unsigned char> >;
template class UTILS_API UtilsAllocator<MapObject<int, char> >;
template class UTILS_API UtilsAllocator<MapObject<int, unsigned char> >;

}  // namespace UTILS
