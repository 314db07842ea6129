# find_package(zelj): the targets zelj::zelj (shared, the best level at run time) and zelj::zelj_static.
include(${CMAKE_CURRENT_LIST_DIR}/zelj-targets.cmake)
