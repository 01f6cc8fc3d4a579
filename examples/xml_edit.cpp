// xml_edit.cpp — load an XML settings file, change it, write it back, and check the result.
//
//   example_xml_edit [FILE]
//
// Without FILE, the program writes a small settings.xml into the current folder first. The
// edits: raise the "version" attribute of the root, change the text of <theme>, add a
// <recent> entry and drop the <obsolete> element. The result replaces FILE only after it was
// written completely to FILE.new and loads back.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

CUSharedPtr<CUStringMac> str(char const* text) {
    return CUSharedPtr<CUStringMac>(new CUStringMac(text, CUString_CharCode_UTF8));
}

std::string text(CUSharedPtr<CUStringMac> const& s) {
    std::string out;
    if (s && s->GetString(out) == kCUStatusSuccess) {
        return out;
    }
    return "";
}

// Loads FILE into a new document; null (with a message) when it cannot be opened or parsed.
CUSharedPtr<CUXmlDomDocumentNode> load(std::string const& path) {
    CUSharedPtr<CUStringMac> name = str(path.c_str());
    CUSharedPtr<CUStream> in;
    try {
        in = CUSharedPtr<CUStream>(
            new CUFileStream(name, CUStream_FileMode_Open, CUStream_FileAccess_Read, false));
    } catch (unsigned int code) {
        std::fprintf(stderr, "%s: cannot be opened (error %u)\n", path.c_str(), code);
        return nullptr;
    }
    CUSharedPtr<CUXmlDomDocumentNode> doc(new CUXmlDomDocumentNode());
    if (CUStatusFailed(doc->LoadXml(in))) {
        std::fprintf(stderr, "%s: not a document this model loads\n", path.c_str());
        return nullptr;
    }
    return doc;
}

// Writes the document to PATH (created or truncated); false when any byte failed.
bool save(CUSharedPtr<CUXmlDomDocumentNode> const& doc, std::string const& path) {
    CUSharedPtr<CUStringMac> name = str(path.c_str());
    try {
        CUSharedPtr<CUStream> out(
            new CUFileStream(name, CUStream_FileMode_Create, CUStream_FileAccess_Write, false));
        return !CUStatusFailed(doc->WriteXml(out));
    } catch (unsigned int code) {
        std::fprintf(stderr, "%s: cannot be written (error %u)\n", path.c_str(), code);
        return false;
    }
}

// The first child element of NODE called NAME, or null.
CUSharedPtr<CUXmlDomNode> child(CUSharedPtr<CUXmlDomNode> const& node, char const* name,
                                unsigned long* index = nullptr) {
    CUSharedPtr<CUMutableArray> children = node->GetChildNodes();
    for (unsigned long i = 0; i < children->Count(); ++i) {
        CUSharedPtr<CUXmlDomNode> c = children->ObjectAtIndex(i);
        if (c && c->GetNodeType() == CUXmlDomNodeType_Element && text(c->GetNodeName()) == name) {
            if (index != nullptr) {
                *index = i;
            }
            return c;
        }
    }
    return nullptr;
}

// The root element: the document's first element child (the XML declaration comes before it).
CUSharedPtr<CUXmlDomNode> root(CUSharedPtr<CUXmlDomDocumentNode> const& doc) {
    CUSharedPtr<CUMutableArray> children = doc->GetChildNodes();
    for (unsigned long i = 0; i < children->Count(); ++i) {
        CUSharedPtr<CUXmlDomNode> c = children->ObjectAtIndex(i);
        if (c && c->GetNodeType() == CUXmlDomNodeType_Element) {
            return c;
        }
    }
    return nullptr;
}

// Sets the text of an element: replaces its text node, or adds one.
void setText(CUSharedPtr<CUXmlDomNode> const& element, char const* value) {
    CUSharedPtr<CUMutableArray> children = element->GetChildNodes();
    for (unsigned long i = 0; i < children->Count(); ++i) {
        CUSharedPtr<CUXmlDomNode> c = children->ObjectAtIndex(i);
        if (c && c->GetNodeType() == CUXmlDomNodeType_Text) {
            c->SetNodeValue(str(value));
            return;
        }
    }
    children->AddObject(CUXmlDomDocumentNode::CreateTextNode(str(value)));
}

// The text of an element: its text node's value, or "" when it has none.
std::string elementText(CUSharedPtr<CUXmlDomNode> const& element) {
    CUSharedPtr<CUMutableArray> children = element->GetChildNodes();
    for (unsigned long i = 0; i < children->Count(); ++i) {
        CUSharedPtr<CUXmlDomNode> c = children->ObjectAtIndex(i);
        if (c && c->GetNodeType() == CUXmlDomNodeType_Text) {
            return text(c->GetNodeValue());
        }
    }
    return "";
}

bool writeSample(std::string const& path) {
    static char const sample[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                 "<settings version=\"3\">\n"
                                 "  <theme>light</theme>\n"
                                 "  <obsolete>yes</obsolete>\n"
                                 "  <recent><file>notes &amp; plans.txt</file></recent>\n"
                                 "</settings>\n";
    CUSharedPtr<CUStringMac> name = str(path.c_str());
    try {
        CUFileStream out(name, CUStream_FileMode_Create, CUStream_FileAccess_Write, false);
        unsigned char* bytes = reinterpret_cast<unsigned char*>(const_cast<char*>(sample));
        return out.Write(bytes, sizeof sample - 1, 0, CUStream_Seek_Origin_Begin) ==
               sizeof sample - 1;
    } catch (unsigned int code) {
        std::fprintf(stderr, "%s: cannot be written (error %u)\n", path.c_str(), code);
        return false;
    }
}

} // namespace

int main(int argc, char** argv) {
    std::string path = argc > 1 ? argv[1] : "settings.xml";
    if (argc <= 1 && !writeSample(path)) {
        return 1;
    }

    CUSharedPtr<CUXmlDomDocumentNode> doc = load(path);
    if (!doc) {
        return 1;
    }
    CUSharedPtr<CUXmlDomNode> settings = root(doc);
    if (!settings) {
        std::fprintf(stderr, "%s: no root element\n", path.c_str());
        return 1;
    }

    // Attributes: read, change.
    int version = std::atoi(text(settings->GetAttribute(str("version"))).c_str());
    std::string next = std::to_string(version + 1);
    settings->SetAttribute(str("version"), str(next.c_str()));

    // Element text: the characters are escaped on writing ("&" becomes "&amp;").
    CUSharedPtr<CUXmlDomNode> theme = child(settings, "theme");
    if (!theme) {
        theme = CUXmlDomDocumentNode::CreateElementNode(str("theme"));
        settings->GetChildNodes()->AddObject(theme);
    }
    setText(theme, "dark & quiet");

    // New elements come from the document's factories and go into a child list.
    CUSharedPtr<CUXmlDomNode> recent = child(settings, "recent");
    if (!recent) {
        recent = CUXmlDomDocumentNode::CreateElementNode(str("recent"));
        settings->GetChildNodes()->AddObject(recent);
    }
    CUSharedPtr<CUXmlDomNode> file = CUXmlDomDocumentNode::CreateElementNode(str("file"));
    file->GetChildNodes()->AddObject(CUXmlDomDocumentNode::CreateTextNode(str("2024 <draft>.txt")));
    recent->GetChildNodes()->InsertObjectAtIndex(file, 0);

    // Removing: by position in the parent's child list.
    unsigned long obsoleteAt = 0;
    if (child(settings, "obsolete", &obsoleteAt)) {
        settings->GetChildNodes()->RemoveObjectAtIndex(obsoleteAt);
    }

    // Write beside the original, check that it loads back, then replace the original.
    std::string temporary = path + ".new";
    if (!save(doc, temporary)) {
        return 1;
    }
    CUSharedPtr<CUXmlDomDocumentNode> again = load(temporary);
    if (!again) {
        return 1;
    }
    CUSharedPtr<CUXmlDomNode> reloaded = root(again);
    CUSharedPtr<CUXmlDomNode> reloadedTheme = child(reloaded, "theme");
    if (text(reloaded->GetAttribute(str("version"))) != next || !reloadedTheme ||
        elementText(reloadedTheme) != "dark & quiet" || child(reloaded, "obsolete")) {
        std::fprintf(stderr, "%s: the written document does not read back as edited\n",
                     temporary.c_str());
        return 1;
    }
    if (std::rename(temporary.c_str(), path.c_str()) != 0) {
        std::perror(path.c_str());
        return 1;
    }
    std::printf("%s: version %d -> %s, theme \"dark & quiet\", %lu recent file(s)\n", path.c_str(),
                version, next.c_str(), child(reloaded, "recent")->GetChildNodes()->Count());
    if (std::FILE* written = std::fopen(path.c_str(), "rb")) {
        char buffer[4096];
        std::size_t n = std::fread(buffer, 1, sizeof buffer, written);
        std::fclose(written);
        std::printf("%.*s\n", static_cast<int>(n), buffer);
    }
    return 0;
}
