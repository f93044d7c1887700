#include "tools/soap-call/CommandLine.h"

#include "commandline/Examples.h"
#include "commandline/Translation.h"

#include <CLI/CLI.hpp>

namespace soap_call {

std::shared_ptr<CLI::App> makeCommandLine(Options& options) {
    auto program = makeProgram("soap-call",
                               translated("Calls a method of a SOAP 1.1 web service and prints its response as JSON"));
    program->add_option("URL", options.url, translated("The service, http or https"))->required();
    program->add_option("METHOD", options.method, translated("The method's name"))->required();
    program->add_option("PARAMETER", options.parameters, translated("The method's parameters, see below"));
    program->add_option("--namespace", options.callNamespace, translated("The service's namespace"))
        ->required()
        ->type_name(translatable("NS"));
    program->add_option("--extension", options.extension, translated("What follows it in the SOAPAction header"))
        ->type_name(translatable("EXT"));
    program->add_flag("--insecure", options.ignoreCertificateErrors,
                      translated("Accept whatever certificate the server shows"));
    program->footer(
        examples({{"soap-call http://127.0.0.1:8080/ --namespace urn:lectures Describe id:int=21", {}}}) +
        translated("A parameter is NAME=TEXT, NAME:int=3, NAME:double=2.5, NAME:guid=GUID, or NAME@=FILE for the bytes "
                   "of a file. They are sent in the order given.") +
        "\n" + translated("Exit status: 0 done; 1 the call failed; 2 wrong usage."));
    return program;
}

}  // namespace soap_call
