C     A classic Fortran program that drives the g77anadata entry points;
C     it stops with code 1 after any failed check.
      PROGRAM FROUND
      USE ISO_C_BINDING
      IMPLICIT NONE
      INCLUDE 'anadata.inc'
      INTERFACE
        INTEGER(C_INT) FUNCTION ANAGETCOMMENT(H, S, L)
     &      BIND(C, NAME='_Z21g77anadatagetcomment_PiPci')
        IMPORT :: C_INT, C_CHAR
        INTEGER(C_INT) :: H
        CHARACTER(KIND=C_CHAR) :: S(*)
        INTEGER(C_INT), VALUE :: L
        END FUNCTION
        INTEGER(C_INT) FUNCTION ANAGETVALDATA(H, BUF, I)
     &      BIND(C, NAME='_Z21g77anadatagetvaldata_PiPdS_')
        IMPORT :: C_INT, C_DOUBLE
        INTEGER(C_INT) :: H, I
        REAL(C_DOUBLE) :: BUF(*)
        END FUNCTION
      END INTERFACE
      INTEGER H, HTEXT, HDUMP, N, NFAIL
      CHARACTER*16 NAME, UNIT
      CHARACTER*4 SHORT
      CHARACTER*32 TEXT
      DOUBLE PRECISION T(2), R(3), TE(6), BUF(6)
      DATA T /0.1D0, 0.2D0/
      DATA R /3.0D0, 3.5D0, 4.0D0/
      DATA TE /2.1D0, 1.9D0, 1.75D0, 2.2D0, 1.8D0, 1.625D0/
      COMMON /CHECKS/ NFAIL
      NFAIL = 0

C     Building a record: names come in blank-padded.
      CALL EXPECT(G77ANADATANEW(H, 2, 1), 0, 'new')
      CALL EXPECT(H, 0, 'first handle')
      NAME = 'te'
      CALL EXPECT(G77ANADATASETDIAGNOSTICS(H, NAME), 0, 'setdiag')
      CALL EXPECT(G77ANADATASETSHOTNUMBER(H, 1234), 0, 'setshot')
      CALL EXPECT(G77ANADATASETSUBNUMBER(H, 2), 0, 'setsub')
      TEXT = '03/07/2009 14:05'
      CALL EXPECT(G77ANADATASETDATE(H, TEXT), 0, 'setdate')
      NAME = 'Time'
      UNIT = 's'
      CALL EXPECT(G77ANADATASETDIMDATA(H, 0, NAME, UNIT, 2, T), 0,
     &     'setdim 0')
      CALL EXPECT(G77ANADATASETDIMDATA(H, 1, 'R', 'm', 3, R), 0,
     &     'setdim 1')
      CALL EXPECT(G77ANADATASETVALDATA(H, 0, 'Te    ', 'keV', 6, TE),
     &     0, 'setval 0')

C     Outgoing strings: padded or NUL-filled member by member.
      CALL EXPECT(G77ANADATAGETDIAGNOSTICS(H, NAME), 0, 'diag')
      CALL TRUTH(NAME .EQ. 'te' .AND. LEN_TRIM(NAME) .EQ. 2
     &     .AND. NAME(16:16) .EQ. ' ', 'diag padded')
      CALL EXPECT(G77ANADATAGETDIMNAME(H, 1, NAME), 0, 'dimname')
      CALL TRUTH(NAME(1:2) .EQ. 'R ' .AND. NAME(16:16) .EQ. ' ',
     &     'dimname padded')
      CALL EXPECT(G77ANADATAGETDIMUNIT(H, 0, UNIT), 0, 'dimunit')
      CALL TRUTH(UNIT(1:1) .EQ. 's' .AND. ICHAR(UNIT(2:2)) .EQ. 0
     &     .AND. ICHAR(UNIT(16:16)) .EQ. 0, 'dimunit NUL')
      CALL EXPECT(G77ANADATAGETVALUNIT(H, 0, UNIT), 0, 'valunit')
      CALL TRUTH(UNIT .EQ. 'keV' .AND. UNIT(16:16) .EQ. ' ',
     &     'valunit padded')
      CALL EXPECT(G77ANADATAGETDIMUNIT2(H, 'Time ', UNIT), 0,
     &     'dimunit2')
      CALL TRUTH(UNIT(1:1) .EQ. 's' .AND. ICHAR(UNIT(2:2)) .EQ. 0,
     &     'dimunit2 NUL')
      CALL EXPECT(G77ANADATAGETVALUNIT2(H, 'Te', UNIT), 0, 'valunit2')
      CALL TRUTH(UNIT(1:3) .EQ. 'keV' .AND. ICHAR(UNIT(4:4)) .EQ. 0,
     &     'valunit2 NUL')
      CALL EXPECT(G77ANADATAGETDATE(H, SHORT), 0, 'short date')
      CALL TRUTH(SHORT .EQ. '03/0', 'date cut to length')

C     Numbers; the sub-shot getter reports the shot number.
      CALL EXPECT(G77ANADATAGETSUBNUMBER(H, N), 0, 'sub')
      CALL EXPECT(N, 1234, 'sub is shot')
      CALL EXPECT(G77ANADATAGETDIMSIZE2(H, 'R', N), 0, 'size2')
      CALL EXPECT(N, 3, 'size2 value')
      CALL EXPECT(G77ANADATAGETVALSIZE(H, N), 0, 'valsize')
      CALL EXPECT(N, 6, 'valsize value')
      CALL EXPECT(ANAGETVALDATA(H, BUF, 0), 0, 'valdata')
      CALL TRUTH(ALL(BUF .EQ. TE), 'valdata numbers')

C     Refusals.
      CALL EXPECT(G77ANADATAGETDIMNO(999, N), 1, 'bad handle')
      CALL EXPECT(G77ANADATAGETDIMSIZE(H, 2, N), 3, 'bad index')
      CALL EXPECT(G77ANADATAGETDIMSIZE2(H, 'r', N), 3, 'bad name')

C     Save in both formats and load back.
      CALL EXPECT(G77ANADATASAVE(H, 'f_roundtrip.txt', 0), 0,
     &     'save text')
      CALL EXPECT(G77ANADATASAVE(H, 'f_roundtrip.dump', 1), 0,
     &     'save dump')
C     Mode 1 must really write the dump: it opens with 10 89 00 00.
      OPEN(UNIT=10, FILE='f_roundtrip.dump', ACCESS='STREAM',
     &     FORM='UNFORMATTED')
      READ(10) SHORT
      CLOSE(UNIT=10)
      CALL TRUTH(SHORT .EQ. CHAR(16)//CHAR(137)//CHAR(0)//CHAR(0),
     &     'dump magic')
      TEXT = 'f_roundtrip.txt'
      CALL EXPECT(G77ANADATALOAD(HTEXT, TEXT), 0, 'load text')
      CALL EXPECT(G77ANADATALOAD(HDUMP, 'f_roundtrip.dump'), 0,
     &     'load dump')
      CALL EXPECT(HDUMP, 2, 'third handle')
      CALL EXPECT(G77ANADATAGETDIMDATA(HTEXT, 0, BUF), 0, 'dimdata')
      CALL TRUTH(BUF(1) .EQ. T(1) .AND. BUF(2) .EQ. T(2),
     &     'dimdata numbers')
      CALL EXPECT(G77ANADATAGETVALDATA2(HDUMP, 'Te', BUF), 0,
     &     'valdata2')
      CALL TRUTH(ALL(BUF .EQ. TE), 'valdata2 numbers')
      CALL EXPECT(G77ANADATAGETDIAGNOSTICS(HDUMP, NAME), 0, 'diag 2')
      CALL TRUTH(NAME .EQ. 'te', 'diag after load')
C     A text file adds an empty comment line before and after.
      CALL EXPECT(ANAGETCOMMENT(HTEXT, TEXT, LEN(TEXT)), 0, 'comment')
      CALL TRUTH(TEXT(1:2) .EQ. CHAR(10)//CHAR(10)
     &     .AND. TEXT(3:32) .EQ. ' ', 'comment padded')

      CALL EXPECT(G77ANADATARELEASE(H), 0, 'release')
      CALL EXPECT(G77ANADATARELEASE(H), 0, 'release twice')
      CALL EXPECT(G77ANADATAGETSHOTNUMBER(H, N), 1, 'released')
      CALL EXPECT(G77ANADATARELEASE(HTEXT), 0, 'release text')
      CALL EXPECT(G77ANADATARELEASE(HDUMP), 0, 'release dump')
      OPEN(UNIT=10, FILE='f_roundtrip.txt')
      CLOSE(UNIT=10, STATUS='DELETE')
      OPEN(UNIT=10, FILE='f_roundtrip.dump')
      CLOSE(UNIT=10, STATUS='DELETE')
      IF (NFAIL .NE. 0) THEN
        PRINT *, NFAIL, ' checks failed'
        STOP 1
      END IF
      END
