// XmlCommand.cpp — XML documents from the command line, through CUXmlDomDocumentNode.
//
//   xml dump FILE            the loaded tree as the document's Description text
//   xml fmt [--indent N] FILE  the loaded tree written back as UTF-8 XML to standard output
//   xml check FILE           exit status 0 when the file loads, with a one-line verdict
//
// Documents load leniently (comments dropped, CDATA as text, internal entities expanded);
// --strict loads them as LoadXml does by default. A refused document prints
// "FILE:LINE:COLUMN: reason" on standard error and exits with 1.
#include "XmlCommand.h"

#include "Errors.h"

#include <VarnUtilityLib/VarnUtilityLib.h>

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

namespace varnutil {
namespace {

// A write-only stream that gathers what WriteXml writes.
class StringStream : public CUStream {
  public:
    bool CanWrite() override { return true; }
    unsigned long long Write(unsigned char* in, unsigned long long count, long long /*offset*/,
                             CUStream_Seek_Origin /*origin*/) override {
        text.append(reinterpret_cast<char const*>(in), static_cast<std::size_t>(count));
        return count;
    }
    std::string text;
};

enum class Action { Dump, Format, Check };

struct Options {
    std::string path;
    bool strict = false;
    int indent = 2;
};

// The bytes that WriteXml makes for a document holding `node` alone; false when it fails.
bool WriteAlone(CUSharedPtr<CUXmlDomNode> const& node, std::string& out) {
    CUSharedPtr<CUXmlDomDocumentNode> doc(new CUXmlDomDocumentNode());
    doc->GetChildNodes()->AddObject(node);
    CUSharedPtr<StringStream> stream(new StringStream());
    if (CUStatusFailed(doc->WriteXml(stream))) {
        return false;
    }
    out += stream->text;
    return true;
}

// Indents elements whose content is only elements and processing instructions; any element
// holding text (blank text included, which a load keeps only when it was written on purpose)
// is written as WriteXml writes it, so no text changes. The tags come from WriteXml too: an
// element with the same name and attributes and no children is written and split.
class Formatter {
  public:
    explicit Formatter(int indent) : m_indent(indent) {}

    bool Node(CUSharedPtr<CUXmlDomNode> const& node, int level, std::string& out) {
        out.append(static_cast<std::size_t>(level * m_indent), ' ');
        CUSharedPtr<CUMutableArray> children = node->GetChildNodes();
        if (node->GetNodeType() != CUXmlDomNodeType_Element || !children ||
            children->Count() == 0 || !ElementOnly(children)) {
            return WriteAlone(node, out);
        }
        CUSharedPtr<CUXmlDomElementNode> bare =
            CUXmlDomDocumentNode::CreateElementNode(node->GetNodeName());
        CUSharedPtr<CUMutableDictionary> attributes = node->GetAttributes();
        CUSharedPtr<CUArray> keys = attributes ? attributes->AllKeys() : nullptr;
        for (unsigned long i = 0; bare && keys && i < keys->Count(); ++i) {
            CUSharedPtr<CUStringMac> key = keys->ObjectAtIndex(i);
            bare->SetAttribute(key, node->GetAttribute(key));
        }
        std::string tags;
        if (!bare || !WriteAlone(bare, tags)) {
            return false;
        }
        std::size_t const end = tags.rfind("</");
        if (end == std::string::npos) {
            return false;
        }
        out.append(tags, 0, end);
        for (unsigned long i = 0; i < children->Count(); ++i) {
            out += '\n';
            if (!Node(children->ObjectAtIndex(i), level + 1, out)) {
                return false;
            }
        }
        out += '\n';
        out.append(static_cast<std::size_t>(level * m_indent), ' ');
        out.append(tags, end, std::string::npos);
        return true;
    }

  private:
    static bool ElementOnly(CUSharedPtr<CUMutableArray> const& children) {
        for (unsigned long i = 0; i < children->Count(); ++i) {
            CUSharedPtr<CUXmlDomNode> child = children->ObjectAtIndex(i);
            if (!child || (child->GetNodeType() != CUXmlDomNodeType_Element &&
                           child->GetNodeType() != CUXmlDomNodeType_ProcessingInstruction)) {
                return false;
            }
        }
        return true;
    }

    int m_indent;
};

int Run(Action action, Options const& options) {
    std::string const& path = options.path;
    CUSharedPtr<CUStringMac> name(new CUStringMac(path.c_str(), CUString_CharCode_UTF8));
    CUSharedPtr<CUStream> stream;
    ClearSystemReason();
    try {
        stream = CUSharedPtr<CUStream>(
            new CUFileStream(name, CUStream_FileMode_Open, CUStream_FileAccess_Read, false));
    } catch (unsigned int code) {
        std::string reason = SystemReason();
        if (std::filesystem::is_directory(path)) {
            reason = "is a folder, not an XML document";
        } else if (reason.empty()) {
            reason = PathReason(path, 'r');
        }
        ReportError(std::cerr, "xml", path, code, reason);
        return kExitFailed;
    }
    CUSharedPtr<CUXmlDomDocumentNode> doc(new CUXmlDomDocumentNode());
    doc->SetLenientLoad(!options.strict);
    unsigned int status = doc->LoadXml(stream);
    if (CUStatusFailed(status)) {
        std::string place = path;
        if (doc->GetLoadErrorLine() != 0) {
            place += ":" + std::to_string(doc->GetLoadErrorLine()) + ":" +
                     std::to_string(doc->GetLoadErrorColumn());
        }
        std::cerr << place << ": " << TextOf(doc->GetLoadErrorReason(), "cannot be loaded") << '\n';
        return kExitFailed;
    }
    switch (action) {
    case Action::Dump: {
        CUSharedPtr<CUStringMac> text = doc->Description();
        std::cout << static_cast<char const*>(*text);
        return 0;
    }
    case Action::Format: {
        std::string out;
        bool written = true;
        if (options.indent == 0) {
            CUSharedPtr<StringStream> text(new StringStream());
            status = doc->WriteXml(text);
            written = !CUStatusFailed(status);
            out = text->text;
        } else {
            Formatter formatter(options.indent);
            CUSharedPtr<CUMutableArray> top = doc->GetChildNodes();
            for (unsigned long i = 0; written && i < top->Count(); ++i) {
                written = formatter.Node(top->ObjectAtIndex(i), 0, out);
                out += '\n';
            }
            status = written ? kCUStatusSuccess : kCUStatusXmlWriteFailed;
        }
        if (!written) {
            ReportError(std::cerr, "xml", path, status, "the loaded document cannot be written");
            return kExitFailed;
        }
        std::fwrite(out.data(), 1, out.size(), stdout);
        std::fflush(stdout);
        return 0;
    }
    case Action::Check:
        std::cout << path << ": loads (" << doc->GetChildNodes()->Count() << " top-level nodes)\n";
        return 0;
    }
    return 1;
}

} // namespace

void AddXmlCommand(CLI::App& app, int& exitCode) {
    CLI::App* xml = app.add_subcommand("xml", "Load XML documents with the document model");
    xml->require_subcommand(1);
    struct Entry {
        char const* name;
        char const* help;
        Action action;
    };
    for (Entry const& entry :
         {Entry{"dump", "Print the loaded tree as its Description text", Action::Dump},
          Entry{"fmt", "Load the file and write it back as indented XML to standard output",
                Action::Format},
          Entry{"check", "Tell whether the file loads (exit status 0) or not (1)",
                Action::Check}}) {
        CLI::App* sub = xml->add_subcommand(entry.name, entry.help);
        auto options = std::make_shared<Options>();
        sub->add_option("FILE", options->path, "XML document")->required();
        sub->add_flag("--strict", options->strict,
                      "Load the exact model: refuse comments, CDATA sections, a document type "
                      "declaration and entities other than the five predefined ones");
        if (entry.action == Action::Format) {
            sub->add_option("--indent", options->indent,
                            "Spaces per level (default 2); 0 writes the document on one line, "
                            "as WriteXml does")
                ->check(CLI::Range(0, 16));
        }
        Action action = entry.action;
        sub->callback([options, action, &exitCode]() { exitCode = Run(action, *options); });
    }
}

} // namespace varnutil
