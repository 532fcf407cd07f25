#include "model/identity/ActiveInstallationNotFound.h"

namespace orvane::model {

ActiveInstallationNotFound::ActiveInstallationNotFound(const std::string& what)
    : BaseException("Não foi encontrada a instalação para " + what)
{
}

} // namespace orvane::model
