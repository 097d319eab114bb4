// The vector forms for processors with AVX2. Reached only through the table of forms.

#if defined(__AVX2__)

#include "pixels/primitives/vector_avx2.h"
// The vectors come first: the rows are written over them.
#include "pixels/primitives/blend_rows_vector.h"
#include "pixels/primitives/channel_rows_vector.h"
#include "pixels/primitives/colour_709_rows_vector.h"
#include "pixels/primitives/colour_rows_vector.h"
#include "pixels/primitives/filter_rows_vector.h"
#include "pixels/primitives/key_rows_vector.h"
#include "pixels/primitives/key_space_rows_avx2.h"
#include "pixels/primitives/resize_rows_vector.h"
#include "pixels/primitives/warp_rows_avx2.h"

namespace qdvm {

void UseAvx2Rows(RowForms* forms) {
    UseVectorRows(&forms->channels);
    UseVectorRows(&forms->packed);
    UseVectorRows(&forms->colour);
    UseVectorRows(&forms->colour709);
    UseVectorRows(&forms->keys);
    UseVectorRows(&forms->filters);
    UseVectorRows(&forms->blends);
    UseVectorRows(&forms->resize);
    UseKeySpaceRows(&forms->keySpaces);
    UseWarpRows(&forms->warp);
}

}  // namespace qdvm

#endif
