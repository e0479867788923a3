# Every dependency is a Debian package installed by scripts/setup.
find_package(ICU 70 REQUIRED COMPONENTS uc i18n)
find_package(CURL REQUIRED)
find_package(LibXml2 REQUIRED)
find_package(fmt REQUIRED)
find_package(Threads REQUIRED)
find_package(nlohmann_json 3 REQUIRED)
