SELECT to_char(at, ⟦'YYYY-MM-DD HH24:MI:SS.US' ¦ 'HH HH12 HH24 MI SS MS US SSSS SSSSS' ¦ 'FF1 FF2 FF3 FF4 FF5 FF6' ¦ 'Y,YYY YYYY YYY YY Y' ¦ 'IYYY IYY IY I IW ID IDDD' ¦ 'MONTH Month month MON Mon mon MM' ¦ 'DAY Day day DY Dy dy DDD DD D' ¦ 'FMDay, FMDD FMMonth' ¦ 'W WW CC J Q RM rm' ¦ 'AM am A.M. p.m. BC ad B.C.' ¦ 'DDTH DDth MMth HHTH YYYYth FMDDth' ¦ '"Year" YYYY \"x\" "q\"q"' ¦ 'yyyy-mm-dd hh24:mi:ss' ¦ 'dy d ddd q j cc' ¦ 'TZ|TZH|TZM|OF' ¦ 'FMHH24:FMMI:FMSS' ¦ 'YYYYMMDD' ¦ 'Yyyy xyz @ ä' ¦ 'FMRM|FMWW|FMDDD|FMCC' ¦ 'TMMonth TMDay' ¦ 'MSth USth FMMS'⟧) FROM facts WHERE at IS NOT NULL ORDER BY at
SELECT to_char(day, ⟦'YYYY-MM-DD' ¦ 'HH24:MI' ¦ 'IYYY-IW-ID' ¦ 'Dy'⟧) FROM facts WHERE day IS NOT NULL ORDER BY day
SELECT to_char(timestamp ⟦'0099-12-31' ¦ '1582-10-15' ¦ '2000-02-29 12:00' ¦ '2011-01-01 00:00:00.000001' ¦ '9999-12-31 23:59:59.999999' ¦ '2021-01-03' ¦ '2020-12-31 11:12:13'⟧, 'YYYY YYY Y,YYY CC IYYY IW ID IDDD HH12 HH24 AM J D WW W Q US MS')
SELECT to_char(⟦0 ¦ 1 ¦ -1 ¦ 12 ¦ 485 ¦ -485 ¦ 1485 ¦ 12345 ¦ -0.1 ¦ 0.1 ¦ 0.5 ¦ 148.5 ¦ -148.55 ¦ 3148.5 ¦ 0.999 ¦ -0.001 ¦ 99.999⟧, ⟦'999' ¦ '9.9' ¦ '99.99' ¦ '0.9' ¦ '.99' ¦ 'FM9.9' ¦ 'FM9.99' ¦ 'FM999.009' ¦ 'FM990.99' ¦ '0000' ¦ '0999.9' ¦ '9990999.9' ¦ 'FM9990999.9' ¦ '9 9 9' ¦ '9,999' ¦ '9,999,999.99' ¦ 'FM9,999.99' ¦ '0,000.0' ¦ '9G999D999' ¦ '999D' ¦ 'FM999.'⟧)
SELECT to_char(⟦0 ¦ 485 ¦ -485 ¦ 0.5 ¦ -0.5 ¦ 12 ¦ -12 ¦ 12345⟧, ⟦'999S' ¦ 'S999' ¦ 'FM999S' ¦ 'FMS999' ¦ '999MI' ¦ 'FM999MI' ¦ 'MI999' ¦ 'PL999' ¦ '999PL' ¦ 'SG999' ¦ '9SG99' ¦ '999SG' ¦ '999PR' ¦ 'FM999PR' ¦ '9.9PR' ¦ '999.9S' ¦ 'S9.9' ¦ 'FM999.9S' ¦ '9.99MI' ¦ '999th' ¦ '999TH' ¦ 'FM999th' ¦ '99.9th' ¦ '99V9' ¦ '999V99' ¦ 'FM99V999' ¦ 'RN' ¦ 'FMRN' ¦ 'rn' ¦ 'L999' ¦ '999L'⟧)
SELECT to_char(⟦1 ¦ 2 ¦ 3 ¦ 4 ¦ 11 ¦ 12 ¦ 13 ¦ 21 ¦ 22 ¦ 111 ¦ 112 ¦ 101⟧, 'FM999th')
SELECT to_char(⟦0.0004859 ¦ 485.9 ¦ -12 ¦ 0 ¦ 1e20 ¦ -0.00000000001⟧::⟦numeric ¦ float8⟧, ⟦'9.99EEEE' ¦ '9EEEE' ¦ '9.999999EEEE'⟧)
SELECT to_char(485, '"Good number:"999'), to_char(485.8, '"Pre:"999" Post:" .999'), to_char(12, '99V999'), to_char(12.4, '99V999'), to_char(12.45, '99V9'), to_char(3.1, '999.99x'), to_char(-7, 'x99y')
SELECT to_char(⟦0.125 ¦ 0.375 ¦ 1234567.891 ¦ -0.5 ¦ 1e15 ¦ 123456789012345680 ¦ 0.1 ¦ 1e-7⟧::float8, ⟦'9999999999999999999.99' ¦ '0.99' ¦ 'FM9.999999999999999999' ¦ '999'⟧)
SELECT to_char(x, 'FM9990.00'), to_char(n, '0009'), to_char(d, 'S999D9') FROM facts WHERE x = x AND x < 1000 ORDER BY 1, 2, 3
SELECT to_char(⟦NULL::int ¦ n⟧, ⟦'99' ¦ NULL⟧) FROM facts ORDER BY 1
SELECT to_char(1, ⟦'9.9.9' ¦ '9V9.9' ¦ 'S9S' ¦ 'S9MI' ¦ '9PR9' ¦ '9EEEE9' ¦ 'FM9EEEE' ¦ 'S9PR'⟧)
SELECT to_number(⟦'12,454.8-', '99G999D9S' ¦ '-34,338,492', '99G999G999' ¦ '<564646.654564>', '999999.999999PR' ¦ '0.00001-', '9.999999S' ¦ '5.01-', 'FM9.999999S' ¦ '5 4 4 4 4 8 . 7 8', '9 9 9 9 9 9 . 9 9' ¦ '.01', 'FM9.99' ¦ '.0', '99999999.99999999' ¦ '0', '99.99' ¦ '.-01', 'S99.99' ¦ '.01-', '99.99S' ¦ ' . 0 1-', ' 9 9 . 9 9 S' ¦ '123456', '999G999' ¦ '123456', '99G999' ¦ '$1234.56', 'L9,999.99' ¦ '42nd', '99th' ¦ '12345', '99V99' ¦ '+7', 'SG9' ¦ '7', '000' ¦ '-7', 'MI9'⟧)
SELECT to_number(⟦'abc' ¦ '' ¦ ' '⟧, '999')
SELECT to_number('12', ⟦'9.9.9' ¦ '9EEEE' ¦ 'S9S'⟧)
-- differs: a format of nothing makes a text of nothing
SELECT to_char(at, '') FROM facts
-- differs: what is rounded up to ten has one digit before the point too
SELECT to_char(9.996, '9.99EEEE')
SELECT to_char(INTERVAL ⟦'1 year 2 mons 3 days 30:05:06.789012' ¦ '-14 mons -3 days -13:02:03.004' ¦ '15 mons 40 days 00:00:00.5' ¦ '0' ¦ '1234 years' ¦ '-5 mons' ¦ '7 mons 12:30'⟧, ⟦'YYYY-MM-DD HH24:MI:SS' ¦ 'HH12:MI:SS AM' ¦ 'HH p.m. MS US' ¦ 'FF1 FF2 FF3 FF4 FF5 FF6' ¦ 'YYY YY Y' ¦ 'Y,YYY' ¦ 'CC Q' ¦ 'DDD WW W' ¦ 'RM|rm|FMRM' ¦ 'FMYYYY FMMM FMDD FMHH24' ¦ 'DDth MMTH FMHH24th' ¦ 'SSSS SSSSS' ¦ '"plain" \"' ¦ 'yyyy mm dd'⟧)
SELECT to_char(INTERVAL '1 mon', ⟦'Month' ¦ 'MON' ¦ 'Day' ¦ 'DY' ¦ 'D' ¦ 'ID' ¦ 'BC' ¦ 'A.D.' ¦ 'TZ' ¦ 'OF' ¦ 'TZH'⟧)
SELECT to_char(at - TIMESTAMP '2012-01-01', 'DD HH24:MI'), to_char(INTERVAL '1 day' * n, CASE WHEN n > 2 THEN 'DD' ELSE 'HH24' END) FROM facts ORDER BY 1, 2
SELECT to_char(INTERVAL ⟦'1 mon' ¦ '0' ¦ '1 day' ¦ '2012 years 11 mons 30 days' ¦ '2012 years' ¦ '2012 years 1 mon 1 day' ¦ '1999 years 1 day' ¦ '-3 years -4 mons -5 days' ¦ '15 mons 400 days' ¦ '-1 mon' ¦ '-11 mons 800 days' ¦ '-1000 days' ¦ '7 days'⟧, ⟦'IYYY IYY IY I' ¦ 'IW' ¦ 'J' ¦ 'IDDD' ¦ 'FMIYYY FMIW FMIDDD FMJ' ¦ 'IWth Jth'⟧)
