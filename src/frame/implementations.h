// Declares the implementation own<op> of every export zeli<op>, with the export's own type: a definition whose
// arguments differ from the public header does not compile. Files that implement exports include this.
#pragma once

#include "zelj.h"

#define ZELJ_EXPORT(op) extern "C" decltype(zeli##op) own##op;
#include "frame/exports.def"
#undef ZELJ_EXPORT
