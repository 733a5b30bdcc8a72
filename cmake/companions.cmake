# libcelcore, the companion library whose celGetMaxCacheSizeB the image
# library imports (the large fills ask it for the cache size).
add_library(celcore SHARED ${CMAKE_CURRENT_SOURCE_DIR}/frame/celcore/celcore.cpp)
set_target_properties(celcore PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
target_include_directories(celcore PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
target_compile_options(celcore PRIVATE -fvisibility=default)
add_library(celcc::celcore ALIAS celcore)

target_link_libraries(celccy8 PRIVATE celcore)
target_link_libraries(celccy8_static PUBLIC celcore)
install(TARGETS celcore EXPORT celccTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# The installed image library finds its companion beside itself.
set_target_properties(celccy8 PROPERTIES INSTALL_RPATH "$ORIGIN")
