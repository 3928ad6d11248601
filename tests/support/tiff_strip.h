// The smallest TIFF image that holds bytes as they are: one strip, one row of grey pixels, compressed with LZW.
#pragma once

#include <tiffio.h>

#include <cstdint>

namespace vostest {

inline void describeLzwStrip(TIFF *tiff, size_t size) {
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(size));
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 1U);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 1U);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
}

}  // namespace vostest
