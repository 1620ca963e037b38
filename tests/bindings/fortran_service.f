C     A classic Fortran program that fetches, registers and reads the
C     experiment log through the g77 entry points, against the test
C     service of with-service.sh (sample 1234/1, a three-column log).
C     It stops with code 1 after any failed check.
      PROGRAM FSERV
      IMPLICIT NONE
      INCLUDE 'anadata.inc'
      INTEGER H, H2, N, NFAIL, SHOT, SUB
      CHARACTER*16 NAME
      CHARACTER*256 COLS(8)
      CHARACTER*300 VALUE
      DOUBLE PRECISION SIG(15)
      COMMON /CHECKS/ NFAIL
      NFAIL = 0

C     The sample data set comes back (the C program checks its grid).
      NAME = 'sample'
      CALL EXPECT(G77ANADATARETRIEVE(H, NAME, 1234, 1), 0, 'retrieve')
      CALL EXPECT(G77ANADATAGETDIMNO(H, N), 0, 'dimno')
      CALL EXPECT(N, 2, 'two dimensions')
      CALL EXPECT(G77ANADATAGETVALDATA2(H, 'signal', SIG), 0, 'signal')
      CALL TRUTH(ABS(SIG(15) - 0.012D0) .LT. 1D-12, 'last signal')

C     Registered again under another shot, it can be fetched from there.
      CALL EXPECT(G77ANADATASETSHOTNUMBER(H, 77), 0, 'setshot')
      CALL EXPECT(G77ANADATAREGIST(H), 0, 'regist')
      SHOT = 77
      SUB = 1
      CALL EXPECT(G77ANADATARETRIEVE(H2, 'sample  ', SHOT, SUB), 0,
     &     'retrieve copy')
      CALL EXPECT(H2, H + 1, 'next handle')
      CALL EXPECT(G77ANADATAGETSHOTNUMBER(H2, N), 0, 'shot')
      CALL EXPECT(N, 77, 'copy shot')

C     Failures give status codes and take no handle.
      N = -1
      CALL EXPECT(G77ANADATARETRIEVE(N, 'sample', 4321, 1), 3,
     &     'retrieve unknown')
      CALL EXPECT(N, -1, 'no handle')
      CALL EXPECT(G77ANADATAREGIST(H2 + 5), 1, 'regist unknown')

C     Experiment log: names in CHARACTER*256 slots, values padded.
      CALL EXPECT(G77EXPLOGGETCOLUMNNO(N), 0, 'column count')
      CALL EXPECT(N, 3, 'three columns')
      CALL EXPECT(G77EXPLOGGETCOLUMNNAMES(COLS), 0, 'columns')
      CALL TRUTH(COLS(1) .EQ. 'shotno' .AND. COLS(3) .EQ. 'energy',
     &     'column names')
      CALL EXPECT(G77EXPLOGGETVALUE(1234, 'date', VALUE), 0, 'value')
      CALL TRUTH(VALUE .EQ. '2009/03/07' .AND. VALUE(300:300) .EQ. ' ',
     &     'value padded')
      CALL EXPECT(G77EXPLOGGETVALUE(1234, 'nosuch', VALUE), 0,
     &     'unknown column')
      CALL TRUTH(VALUE .EQ. '2009/03/07', 'value kept')

      CALL EXPECT(G77ANADATARELEASE(H), 0, 'release')
      CALL EXPECT(G77ANADATARELEASE(H2), 0, 'release copy')
      IF (NFAIL .NE. 0) STOP 1
      END
