// SPDX-License-Identifier: MIT
// The parser's own bit reader: one element a call.
#include "parser/bitstream/Reading.h"

namespace nalsmith_internal {

using bitstream::Reading;

u32 CParserBase::ReadData(u32 n)
{
    return Reading(*this).ReadData(n);
}

u32 CParserBase::GetUE()
{
    return Reading(*this).GetUE();
}

i32 CParserBase::GetSE()
{
    return Reading(*this).GetSE();
}

Status CParserBase::GetDataPtr(u8** p) const
{
    *p = const_cast<u8*>(readPtr);
    return kOk;
}

} // namespace nalsmith_internal
