# Installs the build tree into a scratch prefix, then configures, builds and runs the consumer.
file(REMOVE_RECURSE ${WORK})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix
                RESULT_VARIABLE rc OUTPUT_QUIET)
if(rc)
  message(FATAL_ERROR "install failed")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/build -G Ninja
                -DCMAKE_PREFIX_PATH=${WORK}/prefix -DCONSUMER_SANITIZE=${SANITIZE}
                RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "configure failed")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK}/build RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "build failed")
endif()
execute_process(COMMAND ${WORK}/build/consumer RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "consumer failed")
endif()
