# The shipped recordings, and for each the largest angle to the truth, degrees, that the single-precision readings
# allow; the slanted pendulum of mode 4 is found by a search that stops within 1e-3 degrees.
set(kor_recordings dual_level dual_level_even pendulum pendulum_even polarizer polarizer_even three_vector
                   three_vector_even two_level two_level_even)
foreach(name IN LISTS kor_recordings)
  set(limit_${name} 1e-5)
endforeach()
set(limit_pendulum_even 1.1e-3)
