C     Shared checks of the Fortran test programs: a failed one is printed and counted in
C     COMMON /CHECKS/, which the program tests at its end.
      SUBROUTINE EXPECT(GOT, WANT, WHAT)
      INTEGER GOT, WANT, NFAIL
      COMMON /CHECKS/ NFAIL
      CHARACTER*(*) WHAT
      IF (GOT .NE. WANT) THEN
        PRINT *, 'check failed: ', WHAT, ' gave ', GOT, ' not ', WANT
        NFAIL = NFAIL + 1
      END IF
      END

      SUBROUTINE TRUTH(OK, WHAT)
      LOGICAL OK
      INTEGER NFAIL
      COMMON /CHECKS/ NFAIL
      CHARACTER*(*) WHAT
      IF (.NOT. OK) THEN
        PRINT *, 'check failed: ', WHAT
        NFAIL = NFAIL + 1
      END IF
      END
