C     Fetches a data set from the service named in the settings file
C     and prints its dimensions and first values.
C
C       fetch_fortran [NAME [SHOT [SUBSHOT]]]   (default: sample 1234 1)
C
C     The settings file is $CLIENT_INI2, else ~/.client2.ini, else
C     /etc/client2.ini, with the lines [tserver], account=...,
C     passwd=... and endpoint=http://host:port/.
      PROGRAM FETCH
      IMPLICIT NONE
      INCLUDE 'anadata.inc'
      INTEGER MAXPT
      PARAMETER (MAXPT = 100000)
      INTEGER H, SHOT, SUB, NDIM, NVAL, NPT, I, J, ST
      CHARACTER*64 DIAG, NAME, UNIT, DATE
      CHARACTER*16 ARG
      DOUBLE PRECISION BUF(MAXPT)

      DIAG = 'sample'
      SHOT = 1234
      SUB = 1
      IF (COMMAND_ARGUMENT_COUNT() .GE. 1) CALL GET_COMMAND_ARGUMENT(1,
     &     DIAG)
      IF (COMMAND_ARGUMENT_COUNT() .GE. 2) THEN
        CALL GET_COMMAND_ARGUMENT(2, ARG)
        READ (ARG, *) SHOT
      END IF
      IF (COMMAND_ARGUMENT_COUNT() .GE. 3) THEN
        CALL GET_COMMAND_ARGUMENT(3, ARG)
        READ (ARG, *) SUB
      END IF

C     Status 3: the service has no such data set (reason on stderr).
      ST = G77ANADATARETRIEVE(H, DIAG, SHOT, SUB)
      IF (ST .NE. 0) THEN
        WRITE (0, '(A,A,I7,A,I3)') 'fetch_fortran: not fetched: ',
     &       TRIM(DIAG), SHOT, '/', SUB
        STOP 1
      END IF

      ST = G77ANADATAGETDIAGNOSTICS(H, NAME)
      ST = G77ANADATAGETDATE(H, DATE)
      WRITE (*, '(A,A,I0,A,A)') TRIM(NAME), ' shot ', SHOT, ', ',
     &     TRIM(DATE)
      ST = G77ANADATAGETDIMNO(H, NDIM)
      DO I = 0, NDIM - 1
        ST = G77ANADATAGETDIMNAME(H, I, NAME)
C       Dimension units come back NUL-filled, not blank-padded.
        ST = G77ANADATAGETDIMUNIT(H, I, UNIT)
        ST = G77ANADATAGETDIMSIZE(H, I, NPT)
        IF (NPT .GT. MAXPT) STOP 2
        ST = G77ANADATAGETDIMDATA(H, I, BUF)
        WRITE (*, '(A,A,A,A,A,I0,A,5ES11.3)') 'dimension ',
     &       TRIM(NAME), ' [', UNIT(1:INDEX(UNIT // CHAR(0), CHAR(0))
     &       - 1), '], ', NPT, ' points:', (BUF(J), J = 1, MIN(NPT, 5))
      END DO

C     Values run over the grid with the last dimension fastest.
      ST = G77ANADATAGETVALNO(H, NVAL)
      ST = G77ANADATAGETVALSIZE(H, NPT)
      IF (NPT .GT. MAXPT) STOP 2
      DO I = 0, NVAL - 1
        ST = G77ANADATAGETVALNAME(H, I, NAME)
        ST = G77ANADATAGETVALUNIT(H, I, UNIT)
        ST = G77ANADATAGETVALDATA2(H, NAME, BUF)
        WRITE (*, '(A,A,A,A,A,5ES11.3)') 'value ', TRIM(NAME), ' [',
     &       TRIM(UNIT), ']:', (BUF(J), J = 1, MIN(NPT, 5))
      END DO
      ST = G77ANADATARELEASE(H)
      END
