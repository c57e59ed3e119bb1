#include "prompts/PromptRule.h"

namespace zor {

PromptRule ruleForDenial(const Denial& denial, PolicyAction action) {
    switch (denial.kind()) {
    case Denial::Kind::file: {
        const FileDenial& file = *denial.as<FileDenial>();
        return FilesystemRule{file.path, action, fileOperationFromRaw(file.operation)};
    }
    case Denial::Kind::network: {
        const NetworkDenial& network = *denial.as<NetworkDenial>();
        return NetworkRule{network.host, action,       QList<quint16>{network.port},
                           std::nullopt, std::nullopt, std::nullopt};
    }
    case Denial::Kind::exec: {
        const ExecDenial& exec = *denial.as<ExecDenial>();
        return ExecRule::fromArgs(exec.path, exec.args, action);
    }
    case Denial::Kind::signal:
        return std::monostate{};
    case Denial::Kind::ioDevice:
        return IoDeviceRule{denial.as<IoDeviceDenial>()->deviceClass, action};
    }
    return std::monostate{};
}

} // namespace zor
