# Runs with -P: installs BUILD_DIR into WORK_DIR/prefix, builds CONSUMER_DIR against it in
# WORK_DIR/build (with CXX_COMPILER, CXX_FLAGS and LINK_FLAGS, those of the library's build)
# and runs the consumer, which must print "consumer ok".
file(REMOVE_RECURSE ${WORK_DIR})
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
  set(OUT "${out}" PARENT_SCOPE)
endfunction()
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/prefix)
run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/build -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix -DCMAKE_BUILD_TYPE=Release
    -DCMAKE_CXX_COMPILER=${CXX_COMPILER} "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
    "-DCMAKE_EXE_LINKER_FLAGS=${LINK_FLAGS}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/consumer)
if(NOT OUT MATCHES "consumer ok")
  message(FATAL_ERROR "unexpected output: ${OUT}")
endif()
