! The Fortran include file in free source form: it must compile here as it does in fixed form.
program free_form
  implicit none
  include 'anadata.inc'
  integer :: h, n
  if (g77anadatanew(h, 3, 1) /= 0) stop 1
  if (g77anadatagetdimno(h, n) /= 0 .or. n /= 3) stop 2
  if (g77anadatarelease(h) /= 0) stop 3
end program free_form
