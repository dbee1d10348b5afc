# Every library the tree uses from the system, looked up once; targets name these imported
# targets and nothing else.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(CLI11 REQUIRED)
find_package(nlohmann_json REQUIRED)

pkg_check_modules(GLIB REQUIRED IMPORTED_TARGET glib-2.0)
pkg_check_modules(GMIME REQUIRED IMPORTED_TARGET gmime-3.0)
pkg_check_modules(GNUTLS REQUIRED IMPORTED_TARGET gnutls)
pkg_check_modules(LIBSECRET REQUIRED IMPORTED_TARGET libsecret-1)
pkg_check_modules(NOTIFY REQUIRED IMPORTED_TARGET libnotify)
pkg_check_modules(PLIST REQUIRED IMPORTED_TARGET libplist-2.0)
pkg_check_modules(SQLITE3 REQUIRED IMPORTED_TARGET sqlite3)

# libetpan ships no pkg-config file.
find_library(ETPAN_LIBRARY etpan REQUIRED)
add_library(Etpan::Etpan UNKNOWN IMPORTED)
set_target_properties(Etpan::Etpan PROPERTIES IMPORTED_LOCATION ${ETPAN_LIBRARY})

if(QB_TESTS)
  find_package(GTest REQUIRED)
  include(GoogleTest)
endif()
if(QB_BENCHMARKS)
  find_package(benchmark REQUIRED)
endif()
