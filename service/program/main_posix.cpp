#include "service/program/console.h"

int main(int count, char** arguments)
{
    return service::run_on_console({arguments + (count == 0 ? 0 : 1), arguments + count});
}
