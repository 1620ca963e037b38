# Warning flags shared by every target of the project.
function(anadata_warnings target)
    target_compile_options(${target} PRIVATE
        $<$<COMPILE_LANGUAGE:C,CXX>:-Wall -Wextra>)
endfunction()
