C     Builds a small data set through the Fortran entry points, saves
C     it, loads it back and prints it.
      PROGRAM EXAMPLE
      IMPLICIT NONE
      INCLUDE 'anadata.inc'
      INTEGER H, LOADED, ISTAT, SHOT, N, I
      CHARACTER*32 NAME, UNIT, DATE
      DOUBLE PRECISION TIME(2), RADIUS(3), TE(6), BUF(6)
      DATA TIME /0.1D0, 0.2D0/
      DATA RADIUS /3.0D0, 3.5D0, 4.0D0/
C     Row-major over the grid: the last dimension (R) varies fastest.
      DATA TE /2.1D0, 1.9D0, 1.7D0, 2.2D0, 2.0D0, 1.8D0/

      ISTAT = G77ANADATANEW(H, 2, 1)
      IF (ISTAT .NE. 0) STOP 1
      ISTAT = G77ANADATASETDIAGNOSTICS(H, 'te')
      ISTAT = G77ANADATASETSHOTNUMBER(H, 1234)
      ISTAT = G77ANADATASETDATENOW(H)
      ISTAT = G77ANADATASETDIMDATA(H, 0, 'Time', 's', 2, TIME)
      ISTAT = G77ANADATASETDIMDATA(H, 1, 'R', 'm', 3, RADIUS)
      ISTAT = G77ANADATASETVALDATA(H, 0, 'Te', 'keV', 6, TE)

C     Mode 0 writes the text format, any other mode the dump format.
      ISTAT = G77ANADATASAVE(H, 'example_f.dat', 0)
      IF (ISTAT .NE. 0) STOP 2
      ISTAT = G77ANADATALOAD(LOADED, 'example_f.dat')
      IF (ISTAT .NE. 0) STOP 3

C     Names and dates come back padded with blanks.
      ISTAT = G77ANADATAGETDIAGNOSTICS(LOADED, NAME)
      ISTAT = G77ANADATAGETSHOTNUMBER(LOADED, SHOT)
      ISTAT = G77ANADATAGETDATE(LOADED, DATE)
      PRINT '(A, A, I6, 2A)', TRIM(NAME), ', shot', SHOT, ', ',
     &     TRIM(DATE)
      DO 10 I = 0, 1
        ISTAT = G77ANADATAGETDIMNAME(LOADED, I, NAME)
        ISTAT = G77ANADATAGETDIMSIZE(LOADED, I, N)
        ISTAT = G77ANADATAGETDIMDATA(LOADED, I, BUF)
        PRINT '(2X, A, A, 6F6.2)', 'dimension ', TRIM(NAME),
     &       BUF(1:N)
   10 CONTINUE
C     Value units by index are blank-padded (dimension units are not).
      ISTAT = G77ANADATAGETVALNAME(LOADED, 0, NAME)
      ISTAT = G77ANADATAGETVALUNIT(LOADED, 0, UNIT)
      ISTAT = G77ANADATAGETVALSIZE(LOADED, N)
      ISTAT = G77ANADATAGETVALDATA2(LOADED, 'Te', BUF)
      PRINT '(2X, 5A, 6F6.2)', 'value ', TRIM(NAME), ' [', TRIM(UNIT),
     &     ']:', BUF(1:N)

      ISTAT = G77ANADATARELEASE(H)
      ISTAT = G77ANADATARELEASE(LOADED)
      OPEN(UNIT=10, FILE='example_f.dat')
      CLOSE(UNIT=10, STATUS='DELETE')
      END
