// Helpers of the XML tests: strings, an in-memory stream, generated documents, tree texts.
#pragma once

#include "support/FileTesting.h"

#include <VarnUtilityLib/CUMutableArray.h>
#include <VarnUtilityLib/CUMutableDictionary.h>
#include <VarnUtilityLib/CUStream.h>
#include <VarnUtilityLib/CUXmlDomDocumentNode.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>

using varn::test::Str;
inline std::string Utf8(CUSharedPtr<CUStringMac> const& text) {
    return varn::test::Text(text);
}

// An in-memory stream that reads and writes at an offset from where `origin` says (its start,
// its position or its end); one Read gives at most `readLimit` bytes, one Write takes at most
// `acceptLimit`.
class BufferStream : public CUStream {
  public:
    explicit BufferStream(std::string initial = {}) : m_bytes(std::move(initial)) {
        m_nLength = m_bytes.size();
    }

    unsigned long long Read(unsigned char* out, unsigned long long count, long long offset,
                            CUStream_Seek_Origin origin) override {
        unsigned long long start = At(offset, origin);
        unsigned long long n =
            start < m_bytes.size() ? std::min({count, readLimit, m_bytes.size() - start}) : 0;
        std::memcpy(out, m_bytes.data() + start, n);
        return n;
    }

    unsigned long long Write(unsigned char* in, unsigned long long count, long long offset,
                             CUStream_Seek_Origin origin) override {
        unsigned long long start = At(offset, origin), n = std::min(count, acceptLimit);
        m_bytes.resize(std::max<unsigned long long>(m_bytes.size(), start));
        m_bytes.replace(start, n, reinterpret_cast<char const*>(in), n);
        m_nPosition = start + n;
        m_nLength = m_bytes.size();
        ++writeCalls;
        return n;
    }

    unsigned long long Seek(long long offset, CUStream_Seek_Origin origin) override {
        return m_nPosition = At(offset, origin);
    }

    std::string const& Bytes() const { return m_bytes; }

    unsigned long long readLimit = ~0ULL, acceptLimit = ~0ULL;
    int writeCalls = 0;

  private:
    unsigned long long At(long long offset, CUStream_Seek_Origin origin) const {
        return offset + (origin == CUStream_Seek_Origin_Current ? m_nPosition
                         : origin == CUStream_Seek_Origin_End   ? m_nLength
                                                                : 0);
    }

    std::string m_bytes;
};

// `count` pieces: a fixed text, or what `piece(i)` gives for i = 0, 1, ...
template <typename Piece> std::string Repeat(int count, Piece const& piece) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        if constexpr (std::is_invocable_v<Piece, int>) {
            text += piece(i);
        } else {
            text += piece;
        }
    }
    return text;
}

// A document type declaring e0 as `size` letters and each of e1..e(n-1) as m references to the
// one before: &e(n-1); stands for size * m^(n-1) letters.
inline std::string EntityChain(int n, int m, int size) {
    return "<!DOCTYPE a [<!ENTITY e0 \"" + std::string(size, 'x') + "\">" +
           Repeat(n - 1,
                  [&](int k) {
                      return "<!ENTITY e" + std::to_string(k + 1) + " \"" +
                             Repeat(m, "&e" + std::to_string(k) + ";") + "\">";
                  }) +
           "]>";
}

inline CUSharedPtr<CUXmlDomNode> Text(char const* text) {
    return CUXmlDomDocumentNode::CreateTextNode(Str(text));
}
inline CUSharedPtr<CUXmlDomNode> Ref(char const* name) {
    return CUXmlDomDocumentNode::CreateEntityReferenceNodeNode(Str(name));
}
// An element with attributes set in the given order (a null value stores none).
inline CUSharedPtr<CUXmlDomNode>
Element(std::string const& name,
        std::initializer_list<std::pair<char const*, char const*>> attributes = {}) {
    auto element = CUXmlDomDocumentNode::CreateElementNode(Str(name));
    for (auto const& [key, value] : attributes) {
        element->SetAttribute(Str(key), value != nullptr ? Str(value) : nullptr);
    }
    return element;
}
template <typename... Nodes> void Add(CUXmlDomNode& parent, Nodes const&... nodes) {
    (parent.GetChildNodes()->AddObject(nodes), ...);
}

inline CUSharedPtr<CUXmlDomDocumentNode> NewDoc() {
    return CUSharedPtr<CUXmlDomDocumentNode>(new CUXmlDomDocumentNode());
}

// Loads `text` into `doc` through a BufferStream; returns LoadXml's status.
inline unsigned int LoadText(CUSharedPtr<CUXmlDomDocumentNode> const& doc,
                             std::string const& text) {
    CUSharedPtr<CUStream> stream(new BufferStream(text));
    return doc->LoadXml(stream);
}

inline CUSharedPtr<CUXmlDomNode> Child(CUSharedPtr<CUXmlDomNode> const& node, unsigned long i) {
    return node->GetChildNodes()->ObjectAtIndex(i);
}

// A compact text of a tree: an element as name(key=value,...)[children], a text as 'text', a
// processing instruction as ?target:data; children apart by blanks.
inline std::string TreeText(CUSharedPtr<CUXmlDomNode> const& node) {
    std::string out;
    switch (node->GetNodeType()) {
    case CUXmlDomNodeType_Element: {
        out = Utf8(node->GetNodeName());
        CUSharedPtr<CUArray> keys = node->GetAttributes()->AllKeys();
        if (keys->Count() != 0) {
            out += '(';
            for (unsigned long i = 0; i < keys->Count(); ++i) {
                CUSharedPtr<CUStringMac> key = keys->ObjectAtIndex(i);
                CUSharedPtr<CUStringMac> value = node->GetAttribute(key);
                out += (i != 0 ? "," : "") + Utf8(key) + "=" + (value ? Utf8(value) : "<null>");
            }
            out += ')';
        }
        break;
    }
    case CUXmlDomNodeType_Text:
        return "'" + Utf8(node->GetNodeValue()) + "'";
    case CUXmlDomNodeType_ProcessingInstruction:
        return "?" + Utf8(node->GetNodeName()) + ":" + Utf8(node->GetNodeValue());
    default:
        break;
    }
    CUSharedPtr<CUMutableArray> children = node->GetChildNodes();
    if (children && children->Count() != 0) {
        out += '[';
        for (unsigned long i = 0; i < children->Count(); ++i) {
            out += (i != 0 ? " " : "") + TreeText(children->ObjectAtIndex(i));
        }
        out += ']';
    }
    return out;
}

// The children of a document loaded from `text` as TreeText gives them; after a refused load,
// what it kept and then "!" with the reason and its place as "@line:column".
inline std::string Outcome(std::string const& text, bool lenient) {
    CUSharedPtr<CUXmlDomDocumentNode> doc = NewDoc();
    doc->SetLenientLoad(lenient);
    bool const loaded = LoadText(doc, text) == 0;
    std::string tree = TreeText(doc);
    tree = tree.size() >= 2 ? tree.substr(1, tree.size() - 2) : tree; // without #document[]
    if (loaded) {
        return tree;
    }
    return (tree.empty() ? "" : tree + " ") + "!" + Utf8(doc->GetLoadErrorReason()) + "@" +
           std::to_string(doc->GetLoadErrorLine()) + ":" +
           std::to_string(doc->GetLoadErrorColumn());
}
