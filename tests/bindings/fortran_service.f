C     A classic Fortran program that fetches, registers and reads the
C     experiment log through the g77 entry points, against the test
C     service of with-service.sh (sample 1234/1, a three-column log).
C     It stops with code 1 after any failed check.
      PROGRAM FSERV
      IMPLICIT NONE
      INCLUDE 'anadata.inc'
      INTEGER H, H2, N, NFAIL, SHOT, SUB
      CHARACTER*16 NAME, UNIT
      CHARACTER*256 COLS(8)
      CHARACTER*300 VALUE
      DOUBLE PRECISION TIME(5), SIG(15)
      NFAIL = 0

C     The sample data set comes back with its grid and values.
      NAME = 'sample'
      CALL EXPECT(G77ANADATARETRIEVE(H, NAME, 1234, 1), 0, 'retrieve',
     &     NFAIL)
      CALL EXPECT(G77ANADATAGETDIMNO(H, N), 0, 'dimno', NFAIL)
      CALL EXPECT(N, 2, 'two dimensions', NFAIL)
      CALL EXPECT(G77ANADATAGETDIMNAME(H, 1, NAME), 0, 'dimname',
     &     NFAIL)
      CALL TRUTH(NAME .EQ. 'channel', 'second dimension', NFAIL)
      CALL EXPECT(G77ANADATAGETVALUNIT(H, 0, UNIT), 0, 'valunit',
     &     NFAIL)
      CALL TRUTH(UNIT .EQ. 'V', 'value unit padded', NFAIL)
      CALL EXPECT(G77ANADATAGETDIMDATA(H, 0, TIME), 0, 'time', NFAIL)
      CALL TRUTH(ABS(TIME(5) - 0.004D0) .LT. 1D-12, 'last time', NFAIL)
      CALL EXPECT(G77ANADATAGETVALDATA2(H, 'signal', SIG), 0, 'signal',
     &     NFAIL)
      CALL TRUTH(ABS(SIG(15) - 0.012D0) .LT. 1D-12, 'last signal',
     &     NFAIL)

C     Registered again under another shot, it can be fetched from there.
      CALL EXPECT(G77ANADATASETSHOTNUMBER(H, 77), 0, 'setshot', NFAIL)
      CALL EXPECT(G77ANADATAREGIST(H), 0, 'regist', NFAIL)
      SHOT = 77
      SUB = 1
      CALL EXPECT(G77ANADATARETRIEVE(H2, 'sample  ', SHOT, SUB), 0,
     &     'retrieve copy', NFAIL)
      CALL EXPECT(H2, H + 1, 'next handle', NFAIL)
      CALL EXPECT(G77ANADATAGETSHOTNUMBER(H2, N), 0, 'shot', NFAIL)
      CALL EXPECT(N, 77, 'copy shot', NFAIL)

C     Failures give status codes and take no handle.
      N = -1
      CALL EXPECT(G77ANADATARETRIEVE(N, 'sample', 4321, 1), 3,
     &     'retrieve unknown', NFAIL)
      CALL EXPECT(N, -1, 'no handle', NFAIL)
      CALL EXPECT(G77ANADATAREGIST(H2 + 5), 1, 'regist unknown', NFAIL)

C     Experiment log: names in CHARACTER*256 slots, values padded.
      CALL EXPECT(G77EXPLOGGETCOLUMNNO(N), 0, 'column count', NFAIL)
      CALL EXPECT(N, 3, 'three columns', NFAIL)
      CALL EXPECT(G77EXPLOGGETCOLUMNNAMES(COLS), 0, 'columns', NFAIL)
      CALL TRUTH(COLS(1) .EQ. 'shotno' .AND. COLS(3) .EQ. 'energy',
     &     'column names', NFAIL)
      CALL EXPECT(G77EXPLOGGETVALUE(1234, 'date', VALUE), 0, 'value',
     &     NFAIL)
      CALL TRUTH(VALUE .EQ. '2009/03/07' .AND. VALUE(300:300) .EQ. ' ',
     &     'value padded', NFAIL)
      CALL EXPECT(G77EXPLOGGETVALUE(1234, 'nosuch', VALUE), 0,
     &     'unknown column', NFAIL)
      CALL TRUTH(VALUE .EQ. '2009/03/07', 'value kept', NFAIL)

      CALL EXPECT(G77ANADATARELEASE(H), 0, 'release', NFAIL)
      CALL EXPECT(G77ANADATARELEASE(H2), 0, 'release copy', NFAIL)
      IF (NFAIL .NE. 0) STOP 1
      END

      SUBROUTINE EXPECT(GOT, WANT, WHAT, NFAIL)
      INTEGER GOT, WANT, NFAIL
      CHARACTER*(*) WHAT
      IF (GOT .NE. WANT) THEN
        PRINT *, 'check failed: ', WHAT, ' gave ', GOT, ' not ', WANT
        NFAIL = NFAIL + 1
      END IF
      END

      SUBROUTINE TRUTH(OK, WHAT, NFAIL)
      LOGICAL OK
      INTEGER NFAIL
      CHARACTER*(*) WHAT
      IF (.NOT. OK) THEN
        PRINT *, 'check failed: ', WHAT
        NFAIL = NFAIL + 1
      END IF
      END
