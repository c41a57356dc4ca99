# Says what is wrong with a linkage rule value: a library for test benches, which tq_gateway and a fuzz target use, too.
find_package(nlohmann_json REQUIRED GLOBAL)
set(gateway_dir ${CMAKE_CURRENT_LIST_DIR})
add_library(tq_gateway_check STATIC
  ${gateway_dir}/check.cpp
  ${gateway_dir}/check_meaning.cpp
  ${gateway_dir}/check_read.cpp
  ${gateway_dir}/check_relations.cpp
  ${gateway_dir}/check_surroundings.cpp
  ${gateway_dir}/check_tree.cpp
  ${gateway_dir}/check_truth.cpp
  ${gateway_dir}/json.cpp)
target_include_directories(tq_gateway_check PUBLIC ${gateway_dir}
  # How the module reads decimal texts.
  PRIVATE ${PROJECT_SOURCE_DIR}/src/domain/smart_control ${PROJECT_SOURCE_DIR}/inc)
target_link_libraries(tq_gateway_check
  PUBLIC tqDevSDK_host # its headers, and the JSON library behind them
  PRIVATE nlohmann_json::nlohmann_json tq_warnings)
