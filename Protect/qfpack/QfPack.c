/* qfpack.dll: the decompression module shipped beside VKLinkDB.dll. The library loads
 * it while it reads its embedded lists and frees it again; its one export inflates a
 * raw deflate stream (no zlib or gzip header) with zlib.
 *
 * int QfUnCompress(const void* in, int inCount, void* out, int outCapacity)
 *   the number of bytes written to `out` (greater than zero) when the whole stream was
 *   inflated into the buffer; otherwise zero or a negative code:
 *     -1  bad arguments (null pointers, a negative count, no room at all)
 *     -2  zlib could not start
 *     -3  the output does not fit in `outCapacity` bytes
 *     -4  the input is not a complete raw deflate stream
 *   An empty stream inflates to nothing and answers 0. Calling convention: cdecl. */
#include <zlib.h>

#define QFPACK_BAD_ARGUMENTS (-1)
#define QFPACK_NO_ZLIB (-2)
#define QFPACK_OUTPUT_TOO_SMALL (-3)
#define QFPACK_BAD_STREAM (-4)

__declspec(dllexport) int __cdecl QfUnCompress(const void* in, int inCount, void* out, int outCapacity) {
  z_stream stream;
  int rc;
  unsigned long produced;
  if (!in || !out || inCount < 0 || outCapacity <= 0) return QFPACK_BAD_ARGUMENTS;
  stream.zalloc = Z_NULL;
  stream.zfree = Z_NULL;
  stream.opaque = Z_NULL;
  stream.next_in = (Bytef*)in;
  stream.avail_in = (uInt)inCount;
  if (inflateInit2(&stream, -MAX_WBITS) != Z_OK) return QFPACK_NO_ZLIB;
  stream.next_out = (Bytef*)out;
  stream.avail_out = (uInt)outCapacity;
  rc = inflate(&stream, Z_FINISH);
  produced = stream.total_out;
  inflateEnd(&stream);
  if (rc == Z_STREAM_END) return (int)produced;
  if (rc == Z_BUF_ERROR && stream.avail_out == 0) return QFPACK_OUTPUT_TOO_SMALL;
  return QFPACK_BAD_STREAM;
}
