# Other implementations of our algorithms, used only as benchmark peers and
# test oracles: the library itself never links them. Each found peer becomes
# an imported target zv_peer::<name> and sets ZV_PEER_<NAME>_FOUND.
find_package(PkgConfig QUIET)
set(ZV_PEERS)
if(PkgConfig_FOUND)
  foreach(pair "botan:botan-2" "cryptopp:libcrypto++" "gcrypt:libgcrypt" "mhash:mhash" "zlib:zlib")
    string(REPLACE ":" ";" parts ${pair})
    list(GET parts 0 name)
    list(GET parts 1 module)
    string(TOUPPER ${name} upper)
    pkg_check_modules(ZV_PEER_${upper} QUIET IMPORTED_TARGET GLOBAL ${module})
    if(ZV_PEER_${upper}_FOUND AND NOT TARGET zv_peer::${name})
      add_library(zv_peer::${name} ALIAS PkgConfig::ZV_PEER_${upper})
      list(APPEND ZV_PEERS ${name})
    endif()
  endforeach()
endif()
message(STATUS "Peers for benchmarks and differential tests: ${ZV_PEERS}")
