// Throughput of the date and duration value types: read plus print of one text, ordering of
// values with and without zone, and span addition. A C library read and print of the same
// dateTime text stands beside them as a yardstick.
#include <cstdio>
#include <string>

#include "benchsupport.h"
#include "datetime.h"
#include "datetimespan.h"

using namespace KrXmlLib16;
using KrXmlBench::BestSeconds;

namespace {

const int kIterations = 1000000;
const int kRuns = 5;
volatile size_t g_nSink = 0;

void Report(const char* lpName, double dSeconds)
{
    std::printf("%-48s %8.2f M ops/s  (%6.1f ns/op)\n", lpName, kIterations / dSeconds / 1e6,
                dSeconds / kIterations * 1e9);
}

} // namespace

int main()
{
    const char* lpDateTime = "2005-06-07T08:09:10.123456+05:30";
    const char* lpDuration = "-P1Y2M3DT4H5M6.789S";

    Report("dateTime with zone: parse + print", BestSeconds(kRuns, [&] {
               CDateTime v;
               size_t n = 0;
               for (int i = 0; i < kIterations; ++i)
               {
                   v.ParseXSDDateTime(lpDateTime);
                   n += v.ToString().size();
               }
               g_nSink = g_nSink + n;
           }));

    Report("dateTime with zone: parse + append to buffer", BestSeconds(kRuns, [&] {
               CDateTime v;
               std::string strOut;
               strOut.reserve(64);
               size_t n = 0;
               for (int i = 0; i < kIterations; ++i)
               {
                   v.ParseXSDDateTime(lpDateTime);
                   strOut.clear();
                   v.AppendTo(strOut);
                   n += strOut.size();
               }
               g_nSink = g_nSink + n;
           }));

    Report("duration: parse + print", BestSeconds(kRuns, [&] {
               CDateTimeSpan s;
               size_t n = 0;
               for (int i = 0; i < kIterations; ++i)
               {
                   s.ParseXSDDuration(lpDuration);
                   n += s.ToString().size();
               }
               g_nSink = g_nSink + n;
           }));

    Report("yardstick: sscanf + snprintf of the dateTime", BestSeconds(kRuns, [&] {
               size_t n = 0;
               char sz[64];
               for (int i = 0; i < kIterations; ++i)
               {
                   int y, mo, d, h, mi, s, f, zh, zm;
                   char sign;
                   if (std::sscanf(lpDateTime, "%4d-%2d-%2dT%2d:%2d:%2d.%6d%c%2d:%2d", &y, &mo, &d, &h, &mi, &s, &f,
                                   &sign, &zh, &zm) == 10)
                       n += static_cast<size_t>(std::snprintf(sz, sizeof(sz), "%04d-%02d-%02dT%02d:%02d:%02d.%06d%c%02d:%02d",
                                                              y, mo, d, h, mi, s, f, sign, zh, zm));
               }
               g_nSink = g_nSink + n;
           }));

    const CDateTime zoned("2005-06-07T08:09:10.5+05:30");
    const CDateTime utc("2005-06-07T02:39:10.5Z");
    const CDateTime plainA("2005-06-07T08:09:10.5");
    const CDateTime plainB("2005-06-08T08:09:10");
    Report("CompareTo: offset against Z", BestSeconds(kRuns, [&] {
               size_t n = 0;
               for (int i = 0; i < kIterations; ++i)
                   n += zoned.CompareTo(utc);
               g_nSink = g_nSink + n;
           }));
    Report("CompareTo: both without zone", BestSeconds(kRuns, [&] {
               size_t n = 0;
               for (int i = 0; i < kIterations; ++i)
                   n += plainA.CompareTo(plainB);
               g_nSink = g_nSink + n;
           }));
    Report("CompareTo: offset against no zone (14-hour rule)", BestSeconds(kRuns, [&] {
               size_t n = 0;
               for (int i = 0; i < kIterations; ++i)
                   n += zoned.CompareTo(plainB);
               g_nSink = g_nSink + n;
           }));

    CDateTimeSpan month, day, huge;
    month.ParseXSDDuration("P1M");
    day.ParseXSDDuration("P30D");
    huge.ParseXSDDuration("P999999999D");
    Report("duration CompareTo (four reference sums)", BestSeconds(kRuns, [&] {
               size_t n = 0;
               for (int i = 0; i < kIterations; ++i)
                   n += month.CompareTo(day);
               g_nSink = g_nSink + n;
           }));
    CDateTime gMonthDay;
    gMonthDay.ParseXSDDate("--02-29");
    Report("add P999999999D to a gMonthDay", BestSeconds(kRuns, [&] {
               size_t n = 0;
               for (int i = 0; i < kIterations; ++i)
                   n += (gMonthDay + huge).GetDay();
               g_nSink = g_nSink + n;
           }));
    return 0;
}
