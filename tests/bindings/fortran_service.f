C     A classic Fortran program that registers a fetched data set again
C     and reads the experiment log through the g77 entry points, against
C     the test service of with-service.sh (sample 1234/1, a three-column
C     log). It stops with code 1 after any failed check.
      PROGRAM FSERV
      IMPLICIT NONE
      INCLUDE 'anadata.inc'
      INTEGER H, H2, N, NFAIL
      CHARACTER*256 COLS(8)
      CHARACTER*300 VALUE
      COMMON /CHECKS/ NFAIL
      NFAIL = 0

      CALL EXPECT(G77ANADATARETRIEVE(H, 'sample', 1234, 1), 0,
     &     'retrieve')
      CALL EXPECT(G77ANADATASETSHOTNUMBER(H, 77), 0, 'setshot')
      CALL EXPECT(G77ANADATAREGIST(H), 0, 'regist')
      CALL EXPECT(G77ANADATARETRIEVE(H2, 'sample  ', 77, 1), 0,
     &     'retrieve copy')
      CALL EXPECT(G77ANADATAGETSHOTNUMBER(H2, N), 0, 'shot')
      CALL EXPECT(N, 77, 'copy shot')
      N = -1
      CALL EXPECT(G77ANADATARETRIEVE(N, 'sample', 4321, 1), 3,
     &     'retrieve unknown')
      CALL EXPECT(N, -1, 'no handle')

C     Experiment log: names in CHARACTER*256 slots, values padded.
      CALL EXPECT(G77EXPLOGGETCOLUMNNO(N), 0, 'column count')
      CALL EXPECT(G77EXPLOGGETCOLUMNNAMES(COLS), 0, 'columns')
      CALL TRUTH(N .EQ. 3 .AND. COLS(3) .EQ. 'energy', 'column names')
      CALL EXPECT(G77EXPLOGGETVALUE(1234, 'date', VALUE), 0, 'value')
      CALL EXPECT(G77EXPLOGGETVALUE(1234, 'nosuch', VALUE), 0,
     &     'unknown column')
      CALL TRUTH(VALUE .EQ. '2009/03/07' .AND. VALUE(300:300) .EQ. ' ',
     &     'value padded and kept')
      IF (NFAIL .NE. 0) STOP 1
      END
