// Fuzz target: dates, times and durations. The input holds up to three lines: a date or time,
// a duration and a second date or time. Each text read must print a text that reads back to
// an equal value; sums and differences must keep the identities the classes promise, and the
// order must agree with itself. Anything refused is the library's exception.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzzsupport.h"
#include "krxmllib.h"

using KrXmlFuzz::Check;

namespace {

using namespace KrXmlLib16;

typedef void (CDateTime::*ParseFn)(const char*);
const ParseFn kParsers[] = {&CDateTime::ParseXSDDateTime, &CDateTime::ParseXSDDate, &CDateTime::ParseXSDTime};

bool Read(ParseFn pfnParse, const std::string& str, CDateTime& out)
{
    try
    {
        (out.*pfnParse)(str.c_str());
        return true;
    }
    catch (const CKrException&)
    {
        return false;
    }
}

void CheckOrder(const CDateTime& a, const CDateTime& b)
{
    const CDateTime::DTCompareResult ab = a.CompareTo(b);
    const CDateTime::DTCompareResult ba = b.CompareTo(a);
    Check((ab == CDateTime::dtcLess) == (ba == CDateTime::dtcGreater));
    Check((ab == CDateTime::dtcEqual) == (ba == CDateTime::dtcEqual));
}

void Sums(const CDateTime& dt, const CDateTimeSpan& span)
{
    CDateTime sum;
    try
    {
        sum = dt + span;
    }
    catch (const CKrException&)
    {
        return;
    }
    Check(sum.GetType() == dt.GetType());
    // Without years and months no day is pinned to the end of a month: the step is undone.
    if (span.GetYears() == 0 && span.GetMonths() == 0)
    {
        try
        {
            Check(sum - span == dt);
        }
        catch (const CKrException&)
        {
            Check(false);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    if (nSize > 1024)
        return 0;
    const std::vector<std::string> parts = KrXmlFuzz::Split(pData, nSize, 3);

    bool bSpan = false;
    CDateTimeSpan span;
    try
    {
        span.ParseXSDDuration(parts[1].c_str());
        bSpan = true;
    }
    catch (const CKrException&)
    {
    }
    if (bSpan)
    {
        const std::string str = span.ToString();
        CDateTimeSpan again;
        try
        {
            again.ParseXSDDuration(str.c_str());
        }
        catch (const CKrException&)
        {
            Check(false);
        }
        Check(again == span);
        Check(again.ToString() == str);
        Check(span.GetAsNegative().GetAsNegative() == span);
    }

    for (ParseFn pfnParse : kParsers)
    {
        CDateTime dt;
        if (!Read(pfnParse, parts[0], dt))
            continue;
        const std::string str = dt.ToString();
        CDateTime again;
        Check(Read(pfnParse, str, again));
        Check(again == dt);
        Check(again.ToString() == str);
        Check(dt.GetNormalized() == dt);
        CheckOrder(dt, dt);
        if (bSpan)
            Sums(dt, span);

        CDateTime other;
        if (!Read(pfnParse, parts[2], other))
            continue;
        CheckOrder(dt, other);
        if (other.GetType() == dt.GetType() && other.HasTimeZone() == dt.HasTimeZone())
        {
            try
            {
                const CDateTimeSpan distance = dt - other;
                Check(other + distance == dt);
            }
            catch (const CKrException&)
            {
            }
        }
    }
    return 0;
}
