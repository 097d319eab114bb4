// The vector forms for processors with SSSE3. Reached only through the table of forms.

#if defined(__SSSE3__)

#include "pixels/primitives/vector_ssse3.h"
// The vectors come first: the rows are written over them.
#include "pixels/primitives/blend_rows_vector.h"
#include "pixels/primitives/channel_rows_vector.h"
#include "pixels/primitives/colour_709_rows_vector.h"
#include "pixels/primitives/colour_rows_vector.h"
#include "pixels/primitives/filter_rows_vector.h"
#include "pixels/primitives/key_rows_vector.h"
#include "pixels/primitives/resize_rows_vector.h"

namespace qdvm {

void UseSsse3Rows(RowForms* forms) {
    UseVectorRows(&forms->channels);
    UseVectorRows(&forms->packed);
    UseVectorRows(&forms->colour);
    UseVectorRows(&forms->colour709);
    UseVectorRows(&forms->keys);
    UseVectorRows(&forms->filters);
    UseVectorRows(&forms->blends);
    UseVectorRows(&forms->resize);
}

}  // namespace qdvm

#endif
