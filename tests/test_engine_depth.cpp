// Nesting of bound elements is bounded on reading and writing, so that a deep document or
// object chain fails cleanly instead of overflowing the stack.
#include "testsupport.h"

#include <string>

#include "krxmllib.h"

using namespace KrXmlLib16;
using namespace KrXmlLib16Data;

namespace {

// A recursive type as a generator emits one: a node holds an optional node.
class CTreeNode : public CXmlGeneratedClass
{
public:
    explicit CTreeNode(const char* lpName = "node") { SetElementName(lpName); }
    CSmartPtr<CTreeNode> m_spChild;

    static CSmartPtr<CXmlObjectBase> Create(int, const char* lpName) { return new CTreeNode(lpName); }
    void InvokeProperty(int, bool bGet, KrVariant& value) override
    {
        if (bGet)
            value.SetXmlObject(m_spChild);
        else
            m_spChild = static_cast<CTreeNode*>(static_cast<CXmlObjectBase*>(value.GetXmlObject()));
    }
    CParentElementInfo* GetClassInfo() override { return Tables().pInfo; }
    CElementInfo** GetClassElementInfo() override { return Tables().ppElements; }
    CAttributeInfo** GetClassAttributeInfo() override { return Tables().ppAttributes; }
    void Init() override { m_spChild = nullptr; }
    CXmlObjectBase* GetBase() override { return this; }
    std::string GetNamespace() const override { return ""; }

protected:
    std::string GetTargetNamespace() const override { return ""; }

private:
    struct CTables
    {
        CParentElementInfo* pInfo = new CParentElementInfo(XmlElementGroupType_Sequence, XmlElementType_Element,
                                                           "node", "", true, false, -1, ItemType_Invalid, nullptr,
                                                           false);
        CElementInfo** ppElements =
            new CElementInfo*[2]{new CElementInfoSeqClsOpt("node", "", 0, XmlElementType_Element, &Create, 1), nullptr};
        CAttributeInfo** ppAttributes = new CAttributeInfo*[1]{nullptr};
        ~CTables() { CleanMetaData(pInfo, ppElements, ppAttributes); }
    };
    static CTables& Tables()
    {
        static CTables s_tables;
        return s_tables;
    }
};

std::string Nested(int nLevels)
{
    std::string strXml;
    for (int i = 0; i < nLevels; ++i)
        strXml += "<node>";
    for (int i = 0; i < nLevels; ++i)
        strXml += "</node>";
    return strXml;
}

} // namespace

TEST(EngineDepth, AThousandLevelsReadAndWriteBack)
{
    CSmartPtr<CTreeNode> spRoot(new CTreeNode);
    std::string strXml = Nested(1000);
    spRoot->FromXml(strXml.c_str(), CSerializationContext::GetDefaultContext());
    std::string strExpected = strXml;
    strExpected.replace(999 * 6, 13, "<node/>");  // the innermost node is empty
    EXPECT_TRUE(strExpected == spRoot->ToXml(false, false, EOLType_LF, CSerializationContext::GetDefaultContext()));
}

TEST(EngineDepth, ReadingDeeperFailsAtTheElementPastTheBound)
{
    // Deeper than the binding allows, not as deep as documents may be (CKrLimits::GetMaxDepth).
    CSmartPtr<CTreeNode> spRoot(new CTreeNode);
    std::string strXml = Nested(5000);
    try
    {
        spRoot->FromXml(strXml.c_str(), CSerializationContext::GetDefaultContext());
        FAIL() << "no exception";
    }
    catch (const CKrException& e)
    {
        // Above the element that failed, the failure travels on as it was, with its path.
        EXPECT_EQ(nullptr, e.GetInnerException());
        EXPECT_EQ(0u, e.GetMessage().rfind("Bound elements are nested more than 1000 levels deep\n", 0));
        std::string strPath;
        for (int i = 0; i < 1001; ++i)
            strPath += "/node";
        EXPECT_EQ(strPath.size(), e.GetPath().size());
        EXPECT_TRUE(strPath == e.GetPath());
    }
}

TEST(EngineDepth, ALowerDocumentCapRefusesBeforeTheBinding)
{
    // The document's cap and the binding's bound: whichever is lower speaks.
    KrXmlTest::DepthScope depth(500);
    CSmartPtr<CTreeNode> spRoot(new CTreeNode);
    EXPECT_KR_THROW(spRoot->FromXml(Nested(501).c_str(), CSerializationContext::GetDefaultContext()), CKrException,
                    "Elements are nested more than 500 levels deep, the limit set by CKrLimits::SetMaxDepth, at line 1");
    spRoot->FromXml(Nested(500).c_str(), CSerializationContext::GetDefaultContext());
}

TEST(EngineDepth, WritingADeeperChainFails)
{
    CSmartPtr<CTreeNode> spRoot(new CTreeNode);
    CTreeNode* pLast = spRoot;
    for (int i = 0; i < 1000; ++i)
    {
        pLast->m_spChild = new CTreeNode;
        pLast = pLast->m_spChild;
    }
    try
    {
        spRoot->ToXml(false, false, EOLType_LF, CSerializationContext::GetDefaultContext());
        FAIL() << "no exception";
    }
    catch (const CKrException& e)
    {
        int nLinks = 0;
        const CKrException* pInner = &e;
        for (; pInner->GetInnerException(); pInner = pInner->GetInnerException())
            ++nLinks;
        EXPECT_EQ("Bound elements are nested more than 1000 levels deep", pInner->GetMessage());
        EXPECT_EQ(1000, nLinks);  // one link for each element that was being written
    }
    // Releasing the chain goes one level per object; a thousand is nothing.
}
