// The independent implementation of X.891 that the Fast Infoset tests compare with: the
// fi-convert tool beside the project (../shared), and the documents of the engine's test
// classes that go through it. Tests that need the tool skip where it, Java or the Java
// library is missing; nothing is installed on the tool's behalf.
#ifndef KRXML_FIINTEROP_H
#define KRXML_FIINTEROP_H

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace KrXmlTest {

inline std::string SharedDir()
{
    return KRXML_SHARED_DIR;
}

inline std::string InteropTool()
{
    return SharedDir() + "/tools/fi-interop/fi-convert";
}

// Why the tool can't run here, or empty.
inline std::string InteropToolMissing()
{
    if (access(InteropTool().c_str(), X_OK) != 0)
        return "the interop tool is not at " + InteropTool();
    if (std::system("command -v java >/dev/null 2>&1 && command -v javac >/dev/null 2>&1") != 0)
        return "java or javac is not installed";
    if (std::system("ls /usr/share/java/FastInfoset*.jar >/dev/null 2>&1") != 0)
        return "the FastInfoset library for Java (libfastinfoset-java) is not installed";
    return std::string();
}

#define SKIP_WITHOUT_TOOL()                                                                          \
    do                                                                                              \
    {                                                                                               \
        std::string strWhy_ = KrXmlTest::InteropToolMissing();                                      \
        if (!strWhy_.empty())                                                                       \
            GTEST_SKIP() << strWhy_;                                                                \
    } while (0)

// Runs the tool; its exit code, and what it printed in strOut.
inline int RunInteropTool(const std::string& strArgs, std::string& strOut)
{
    strOut.clear();
    std::FILE* p = popen(("'" + InteropTool() + "' " + strArgs + " 2>&1").c_str(), "r");
    if (!p)
        return -1;
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof(buf), p)) > 0)
        strOut.append(buf, n);
    int iStatus = pclose(p);
    return WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -1;
}

// Documents of the engine's test classes, in the test schema's namespace.
inline std::string EngineDoc(const std::string& strRoot, const std::string& strAttributes, const std::string& strBody)
{
    return "<" + strRoot +
           " xmlns='urn:kr:test' xmlns:o='urn:kr:other' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'" +
           strAttributes + ">" + strBody + "</" + strRoot + ">";
}

inline std::string TypedColsDoc()
{
    return EngineDoc(
        "typedCols", "",
        "<b64>AQID</b64><hex>0A0B</hex><bool>1</bool><i1>-3</i1><i2>7</i2><i4>999</i4><i8>5</i8><ui1>200</ui1>"
        "<ui2>6</ui2><ui4>7</ui4><ui8>18446744073709551615</ui8><r4>1.25</r4><r8>2.5</r8><dec>123.45</dec>"
        "<int>-99999999999999999999</int><str>abc</str><str>z</str><dur>P1D</dur><year>2024</year>"
        "<month>--05</month><day>---07</day><dt>2024-01-02T03:04:05Z</dt><date>2001-01-01</date>"
        "<time>10:00:00</time><ym>2024-05</ym><md>--05-06</md>");
}

inline std::string SeqDoc()
{
    return EngineDoc("seqDoc", " ver='3' mode='red' rev='12' o:x='1'",
                     "<id>5</id><label xsi:nil='true'/><num>1</num><num>2</num><color>green</color><shade/>"
                     "<tone>red</tone><tone>blue</tone><point><x>1</x><y>2</y></point><voucher code='ABC'>12.50</voucher>"
                     "<note lang='de'> 12 </note><note/><shape xsi:type='Circle' label='c'><radius>1.5</radius></shape>"
                     "<spare xsi:type='Square'><side>2</side></spare><figure xsi:type='Circle'><radius>3</radius></figure>"
                     "<figure xsi:type='Square'><side>4</side></figure><o:w a='1'><o:c/>t</o:w><extra><z/></extra>"
                     "<o:v/><o:u/>");
}

inline std::string AllDoc()
{
    return EngineDoc("allDoc", " kind='blue' via='v'",
                     "<more>m1</more><o:w/><cash>3</cash><figure xsi:type='Circle'><radius>3</radius></figure>"
                     "<shape xsi:type='Square'><side>4</side></shape><note>n</note><voucher code='XYZ'>1</voucher>"
                     "<point xsi:nil='true'/><tone>green</tone><shade xsi:nil='1'/><num>7</num><label>l</label>"
                     "<color>blue</color><id>9</id><extra/><more>m2</more>");
}

inline std::string GroupDoc()
{
    return EngineDoc("groupDoc", " zone='z' tag='red' via='v' doc='d'",
                     "<street>s</street><city>c</city><card>k</card><q>1</q><p>x</p>");
}

} // namespace KrXmlTest

#endif
