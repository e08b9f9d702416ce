// Reads a ksml report into the model, as far as it goes.
//
//   <?xml version="1.0" encoding="UTF-8" standalone="yes"?>
//   <GATHERED_DATA>
//   <GATHERER_VERSION>version</GATHERER_VERSION>
//   <SECTION ID="title">                       any number; imported files stand between them
//     <TABLE ID="title">                       tables and files in any order
//       <COLS>columns</COLS>
//       <ROW ID="name"> cells <CHK>sum</CHK> </ROW>
//       <ROWS>rows</ROWS> <CHK>sum</CHK>
//     </TABLE>
//     <FILE ID="path"> <![CDATA[content]]> <CHK>sum</CHK> </FILE>
//     <CHK>sum</CHK>
//   </SECTION>
//   <CHK>sum</CHK>
//   </GATHERED_DATA>
//
// Every element stands on a line of its own that ends in CR LF; nothing is indented.
#pragma once

#include <cstdint>
#include <string_view>

#include "tools/ks2/fault.h"
#include "tools/ks2/report.h"

namespace kestrel::ks2 {

/// Whether the bytes are a ksml report, damaged or not: its outer element, or a section of one.
bool is_ksml(std::string_view bytes);

/// Reads the report in `bytes`, which must outlive the model. Whatever a sound report would not
/// hold is a fault; sums are not checked here. `memory` limits what the model may take; what does
/// not fit is left out, with a fault.
report read_ksml(std::string_view bytes, uint64_t memory, fault_list& faults);

}  // namespace kestrel::ks2
