#include "app/Application.h"
#include "app/MaintenanceSwitches.h"

int main(int argc, char** argv)
{
    if (std::optional<int> exitCode = MaintenanceSwitches::run(argc, argv))
        return *exitCode;
    return Application::run(argc, argv);
}
