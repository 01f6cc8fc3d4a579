// XmlCommand.cpp — XML documents from the command line, through CUXmlDomDocumentNode.
//
//   xml dump FILE    the loaded tree as the document's Description text
//   xml fmt FILE     the loaded tree written back as UTF-8 XML to standard output, byte for
//                    byte what WriteXml makes (no newline added)
//   xml check FILE   exit status 0 when the file loads, with a one-line verdict either way
#include "XmlCommand.h"

#include "Errors.h"

#include <VarnUtilityLib/VarnUtilityLib.h>

#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

namespace varnutil {
namespace {

// Standard output as a write-only stream for WriteXml.
class StandardOutputStream : public CUStream {
  public:
    bool CanWrite() override { return true; }
    unsigned long long Write(unsigned char* in, unsigned long long count, long long /*offset*/,
                             CUStream_Seek_Origin /*origin*/) override {
        std::size_t written = std::fwrite(in, 1, static_cast<std::size_t>(count), stdout);
        std::fflush(stdout);
        return written;
    }
};

enum class Action { Dump, Format, Check };

// Why a load fails is not told by the document model: it has one failure status.
constexpr char const* kCannotLoad =
    "cannot be loaded: not well-formed XML, an unsupported encoding, or content the document "
    "model does not keep (a comment, CDATA section, document type declaration or a reference "
    "to an entity other than lt, gt, amp, quot and apos)";

int Run(Action action, std::string const& path) {
    CUSharedPtr<CUStringMac> name(new CUStringMac(path.c_str(), CUString_CharCode_UTF8));
    CUSharedPtr<CUStream> stream;
    try {
        stream = CUSharedPtr<CUStream>(
            new CUFileStream(name, CUStream_FileMode_Open, CUStream_FileAccess_Read, false));
    } catch (unsigned int code) {
        ReportFailure(std::cerr, "xml", path + ": cannot be opened: error " + DescribeError(code));
        return kExitFailed;
    }
    CUSharedPtr<CUXmlDomDocumentNode> doc(new CUXmlDomDocumentNode());
    unsigned int status = doc->LoadXml(stream);
    if (CUStatusFailed(status)) {
        ReportFailure(std::cerr, "xml",
                      path + ": error " + DescribeError(status) + ": " + kCannotLoad);
        return kExitFailed;
    }
    switch (action) {
    case Action::Dump: {
        CUSharedPtr<CUStringMac> text = doc->Description();
        std::cout << static_cast<char const*>(*text);
        return 0;
    }
    case Action::Format: {
        CUSharedPtr<CUStream> out(new StandardOutputStream());
        status = doc->WriteXml(out);
        if (CUStatusFailed(status)) {
            ReportFailure(std::cerr, "xml",
                          path + ": the loaded document cannot be written: error " +
                              DescribeError(status));
            return kExitFailed;
        }
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
          Entry{"fmt", "Load the file and write it back as XML to standard output", Action::Format},
          Entry{"check", "Tell whether the file loads (exit status 0) or not (1)",
                Action::Check}}) {
        CLI::App* sub = xml->add_subcommand(entry.name, entry.help);
        auto file = std::make_shared<std::string>();
        sub->add_option("FILE", *file, "XML document")->required();
        Action action = entry.action;
        sub->callback([file, action, &exitCode]() { exitCode = Run(action, *file); });
    }
}

} // namespace varnutil
