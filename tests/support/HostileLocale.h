// A global locale such as a host in a German-speaking country installs: digit grouping
// with "." and a decimal comma, for C++ streams and for the C library alike. Numbers
// that the library turns into names, messages, settings or written files must not change.
#pragma once

#include <clocale>
#include <cstdlib>
#include <locale>
#include <string>

namespace zmtest {

class HostileLocale {
  public:
    HostileLocale() : savedCpp(std::locale()) {
        struct Punct : std::numpunct<char> {
            char do_decimal_point() const override { return ','; }
            char do_thousands_sep() const override { return '.'; }
            std::string do_grouping() const override { return "\3"; }
        };
        std::locale::global(std::locale(std::locale::classic(), new Punct));
        const char* current = std::setlocale(LC_ALL, nullptr);
        savedC = current != nullptr ? current : "C";
        // The C library's locale is built by the test build into a folder of its own.
        setenv("LOCPATH", ZM_TEST_LOCALES, 1);
        cActive = std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
    }
    ~HostileLocale() {
        std::setlocale(LC_ALL, savedC.c_str());
        std::locale::global(savedCpp);
    }
    HostileLocale(const HostileLocale&) = delete;
    HostileLocale& operator=(const HostileLocale&) = delete;

    // True when the C library took the decimal comma too.
    bool CActive() const { return cActive; }

  private:
    std::locale savedCpp;
    std::string savedC;
    bool cActive = false;
};

}  // namespace zmtest
