// The entry of the web build. A program that has waited does not return through `main`, so its
// result would be lost; `exit` keeps it, and does what is to be done at the end.

#include <cstdlib>

int program_main(int argument_count, char** arguments); // `main` of app/main.cpp

int main(int argument_count, char** arguments)
{
    std::exit(program_main(argument_count, arguments));
}
