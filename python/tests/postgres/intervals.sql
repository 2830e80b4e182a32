SELECT CAST(INTERVAL ⟦'1 year 2 mons -3 days 04:05:06.7' ¦ 'P1Y2M3DT4H5M6S' ¦ 'P1Y2M3W' ¦ 'PT0.5S' ¦ 'P0001-02-03T04:05:06' ¦ 'P00010203T040506' ¦ 'P1Y-2M' ¦ 'P1.5Y' ¦ 'PT36H' ¦ 'P-1DT-2H' ¦ '1-2' ¦ '-1-2' ¦ '+1-2' ¦ '1 12:00' ¦ '1-2 3 4:05:06' ¦ '3 days ago' ¦ '-3 days ago' ¦ '1 year -2 months' ¦ '@ 1 year 2 mons ago' ¦ '1.5 months' ¦ '1.5 years' ¦ '2.5 weeks' ¦ '1.25 days' ¦ '1.7 hours' ¦ '0.1 seconds' ¦ '1.1234567 s' ¦ '.5 h' ¦ '5' ¦ '-5.5' ¦ '12:34' ¦ '-12:34:56.789' ¦ '12:34.5' ¦ '100:00' ¦ '1 day 25:00' ¦ '1 decade' ¦ '2 centuries' ¦ '1 millennium' ¦ '1.5 decades' ¦ '0.001 millennia' ¦ '90 mins' ¦ '1500 ms' ¦ '15 us' ¦ '1y2mon3d4h5m6s' ¦ '1 day, 2 hours' ¦ '2 d 3 h' ¦ '2 3 hours' ¦ '1 month 1 day 1 h 1 m 1 s' ¦ '0' ¦ '-0' ¦ '0 days'⟧ AS text)
SELECT CAST(INTERVAL ⟦'' ¦ 'x' ¦ '1 fortnight' ¦ '1 day 2 days' ¦ '1 h 2:00' ¦ '1-13' ¦ '12:60' ¦ '1:2:61' ¦ 'P' ¦ 'PT' ¦ 'P1' ¦ 'P1S' ¦ 'PT1Y' ¦ '1 day x' ¦ '--1 day' ¦ '1 quarter' ¦ 'day' ¦ '1 2'⟧ AS text)
SELECT CAST(INTERVAL ⟦'2147483647 months' ¦ '2147483648 months' ¦ '178956970 years 7 mons' ¦ '178956971 years' ¦ '2147483647 days' ¦ '2147483648 days' ¦ '2562047788:00:54.775807' ¦ '2562047789:00' ¦ '-2147483648 days' ¦ '9223372036854775807 us' ¦ '9223372036854775808 us' ¦ '1e3 days'⟧ AS text)
SELECT CAST(INTERVAL '3' ⟦YEAR ¦ MONTH ¦ DAY ¦ HOUR ¦ MINUTE ¦ SECOND ¦ YEAR TO MONTH ¦ DAY TO HOUR ¦ DAY TO SECOND ¦ HOUR TO MINUTE ¦ MINUTE TO SECOND⟧ AS text)
SELECT CAST(INTERVAL '1 year 2 mons 3 days 04:05:06.789' ⟦YEAR ¦ MONTH ¦ DAY ¦ HOUR ¦ MINUTE ¦ SECOND ¦ YEAR TO MONTH ¦ DAY TO HOUR ¦ DAY TO MINUTE ¦ DAY TO SECOND ¦ HOUR TO MINUTE ¦ HOUR TO SECOND ¦ MINUTE TO SECOND ¦ SECOND(1) ¦ DAY TO SECOND(0)⟧ AS text)
SELECT CAST(INTERVAL ⟦'1:2' ¦ '12:34:56' ¦ '-1:30'⟧ ⟦MINUTE TO SECOND ¦ HOUR TO MINUTE ¦ HOUR⟧ AS text), CAST(INTERVAL(2) '1.23456 s' AS text), CAST(INTERVAL '1-2' YEAR TO MONTH AS text)
SELECT INTERVAL ⟦'1 month' ¦ '30 days' ¦ '1 day' ¦ '24:00' ¦ '-1 day' ¦ '1 year' ¦ '360 days'⟧ ⟦= ¦ <> ¦ < ¦ <= ¦ > ¦ >=⟧ INTERVAL ⟦'1 month' ¦ '24 hours' ¦ '12 mons' ¦ '-24:00'⟧
SELECT INTERVAL '1 day' = ⟦'24:00' ¦ '1 mon'⟧, ⟦'24:00' ¦ '1 mon'⟧ > INTERVAL '1 day', INTERVAL '1 day' BETWEEN ⟦'1 hour' ¦ '2 days'⟧ AND '1 month', INTERVAL '1 day' IN (⟦'24:00' ¦ '1 mon'⟧, '1 second'), INTERVAL '1 day' NOT IN ('24:00', '1 second')
SELECT INTERVAL '1 day' IS NULL, CAST(NULL AS interval) IS NULL, INTERVAL '1 day' IS DISTINCT FROM ⟦INTERVAL '24:00' ¦ NULL ¦ INTERVAL '1 mon'⟧, COALESCE(NULL, INTERVAL '1 day', '2 days'), NULLIF(INTERVAL '1 day', INTERVAL '24:00'), NULLIF(INTERVAL '1 day', '1 hour')
SELECT GREATEST(INTERVAL '1 day', ⟦'25:00' ¦ '1 hour' ¦ NULL⟧, INTERVAL '1 minute'), LEAST(INTERVAL '1 day', ⟦'25:00' ¦ '1 hour'⟧, INTERVAL '1 mon'), CASE WHEN 1 < 2 THEN INTERVAL '1 day' ELSE '2 days' END, CASE INTERVAL '1 day' WHEN '24:00' THEN 'a' ELSE 'b' END
SELECT TIMESTAMP ⟦'2012-01-31 10:20:30.5' ¦ '2011-02-28 23:59:59' ¦ '1969-12-31 00:00:00' ¦ '2012-02-29 12:00:00'⟧ ⟦+ ¦ -⟧ INTERVAL ⟦'1 month' ¦ '1 year' ¦ '-1 month' ¦ '1 month 1 day' ¦ '1 mon -1 day 01:00' ¦ '12:34:56.789' ¦ '100 years' ¦ '-25 hours'⟧
SELECT DATE ⟦'2012-01-31' ¦ '2011-12-31' ¦ '2000-02-29'⟧ ⟦+ ¦ -⟧ INTERVAL ⟦'1 month' ¦ '1 day' ¦ '90 minutes' ¦ '-1 year'⟧, INTERVAL '1 month' + DATE '2012-01-31', INTERVAL '1 hour' + TIMESTAMP '2012-01-31 10:00'
SELECT TIME ⟦'10:00' ¦ '23:59:59.5' ¦ '00:00'⟧ ⟦+ ¦ -⟧ INTERVAL ⟦'1 hour' ¦ '1 day 15:00' ¦ '-30 minutes' ¦ '1 month' ¦ '48:00:01'⟧, INTERVAL '15 hours' + TIME '12:00'
SELECT TIMESTAMP ⟦'2012-03-01 10:20:30' ¦ '2012-02-01 00:00:00.5'⟧ - TIMESTAMP ⟦'2012-02-01 12:00:00' ¦ '2013-01-01 00:00:00' ¦ '2012-03-01 10:20:29.999999'⟧, TIMESTAMP '2012-03-01 10:00' - DATE '2012-02-01', DATE '2012-03-01' - TIMESTAMP '2012-02-01 10:00', TIME '10:00' - TIME ⟦'09:30' ¦ '23:00'⟧
SELECT TIMESTAMP '2012-03-01 10:00' + ⟦'1 day' ¦ '1 mon -1 hour'⟧, TIMESTAMP '2012-03-01 10:00' - '2012-02-01', INTERVAL '1 day' + '1 hour', '1 hour' - INTERVAL '1 day', TIMESTAMP '2012-03-01 10:00' + NULL, INTERVAL '1 day' * NULL
SELECT INTERVAL ⟦'1 year 2 mons' ¦ '1 day' ¦ '-3 days 04:00' ¦ '1 mon -1 day 01:00'⟧ ⟦+ ¦ -⟧ INTERVAL ⟦'1 day 01:00' ¦ '-11 mons' ¦ '25:00' ¦ '0'⟧, -INTERVAL ⟦'1 day' ¦ '-1 mon 04:00'⟧
SELECT INTERVAL ⟦'1 month' ¦ '1 year 1 day' ¦ '1 day 02:03:04.5' ¦ '-1 mon 3 days' ¦ '00:00:01' ¦ '35 days 25:00'⟧ * ⟦2 ¦ 1.5 ¦ -0.3 ¦ 0 ¦ 0.0001 ¦ 1e-7 ¦ 1000 ¦ 0.33333⟧, 3 * INTERVAL '1 month', 0.5 * INTERVAL '1 day'
SELECT INTERVAL ⟦'1 month' ¦ '1 year 1 day' ¦ '1 day 02:03:04.5' ¦ '-1 mon 3 days' ¦ '00:00:01' ¦ '35 days 25:00'⟧ / ⟦2 ¦ 1.5 ¦ -0.3 ¦ 3 ¦ 7 ¦ 1000⟧
SELECT INTERVAL '1 day' / ⟦0 ¦ 0.0 ¦ CAST(0 AS double precision)⟧
SELECT INTERVAL ⟦'2147483647 days' ¦ '2147483647 mons' ¦ '-2147483648 days'⟧ ⟦+ INTERVAL '1 mon 1 day' ¦ * 2 ¦ - INTERVAL '1 mon 1 day'⟧
SELECT -INTERVAL '-2147483648 days', INTERVAL '1 day'
SELECT ⟦TIMESTAMP '9999-12-31 10:00' - INTERVAL '1 day' ¦ TIMESTAMP '9999-12-30 10:00' + INTERVAL '1 day'⟧
-- differs: dates reach to the year 9999
SELECT TIMESTAMP '9999-12-31 10:00' + INTERVAL '1 day'
SELECT EXTRACT(⟦microseconds ¦ milliseconds ¦ second ¦ minute ¦ hour ¦ day ¦ month ¦ quarter ¦ year ¦ decade ¦ century ¦ millennium ¦ epoch⟧ FROM INTERVAL ⟦'1 year 2 mons 3 days 04:05:06.789' ¦ '-1234 years -11 mons -40 days -50:30:20.123456' ¦ '0' ¦ '5 mons 100 days 1 us'⟧)
SELECT DATE_PART(⟦'epoch' ¦ 'hour' ¦ 'second' ¦ 'century'⟧, INTERVAL ⟦'1 year 2 mons 3 days 04:05:06.789' ¦ '250 years 30:00'⟧)
SELECT EXTRACT(⟦week ¦ doy ¦ isoyear ¦ dow ¦ fortnight⟧ FROM INTERVAL '1 year')
SELECT AGE(TIMESTAMP ⟦'2012-03-15 10:00' ¦ '2012-02-29 00:00' ¦ '2012-03-31 23:59:59.5' ¦ '2012-03-01 00:00'⟧, TIMESTAMP ⟦'2010-12-31 12:00' ¦ '2012-01-31 00:00' ¦ '2012-02-29 00:00' ¦ '2013-05-30 01:02:03' ¦ '2011-03-31 23:00'⟧)
SELECT AGE(DATE ⟦'2012-03-15' ¦ '2001-04-10'⟧, DATE '1957-06-13'), AGE(CURRENT_DATE), AGE(CURRENT_DATE - 10) < INTERVAL '11 days'
SELECT DATE_BIN(⟦'15 minutes' ¦ '1 day' ¦ '3 days 01:00' ¦ '7 us'⟧, TIMESTAMP ⟦'2020-02-11 15:44:17.71393' ¦ '2001-01-01 00:00' ¦ '2000-12-31 23:59:59'⟧, TIMESTAMP ⟦'2001-01-01 00:00' ¦ '2030-01-01 00:02:30'⟧)
SELECT DATE_BIN(⟦'1 month' ¦ '0 days' ¦ '-1 day'⟧, TIMESTAMP '2020-02-11 15:44:17', TIMESTAMP '2001-01-01')
SELECT DATE_TRUNC(⟦'microseconds' ¦ 'milliseconds' ¦ 'second' ¦ 'minute' ¦ 'hour' ¦ 'day' ¦ 'month' ¦ 'quarter' ¦ 'year' ¦ 'decade' ¦ 'century' ¦ 'millennium' ¦ 'week' ¦ 'eon'⟧, INTERVAL ⟦'1234 years 8 mons 40 days 50:30:20.123456' ¦ '-17 years -5 mons -1 day -01:01:01.999999'⟧)
SELECT ⟦JUSTIFY_DAYS ¦ JUSTIFY_HOURS ¦ JUSTIFY_INTERVAL⟧(INTERVAL ⟦'35 days' ¦ '27 hours' ¦ '1 mon -1 hour' ¦ '-1 mon 40 days' ¦ '1 day -25 hours' ¦ '29 days 25:00' ¦ '-35 days 01:00' ¦ '0' ¦ '1 year -400 days 100:00' ¦ '2147483647 days 25:00'⟧)
SELECT MAKE_INTERVAL(), MAKE_INTERVAL(1, 2, 3, 4, 5, 6, 7.5), MAKE_INTERVAL(days => ⟦10 ¦ -3⟧, hours => 30), MAKE_INTERVAL(secs => ⟦90.1234567 ¦ -0.5⟧, years => 2), MAKE_INTERVAL(1, mins => 5)
SELECT MAKE_INTERVAL(⟦day => 1 ¦ days => 1, days => 2⟧)
SELECT NOW() = CURRENT_TIMESTAMP, NOW() - NOW(), CURRENT_DATE - CURRENT_DATE, LOCALTIMESTAMP - CURRENT_TIMESTAMP < INTERVAL '1 day', CURRENT_TIMESTAMP(0) - NOW() < INTERVAL '1 s', LOCALTIME - LOCALTIME(3) < INTERVAL '1 s'
SELECT CAST((TIMESTAMP ⟦'2012-07-01 12:00' ¦ '2012-01-01 00:00' ¦ '2012-03-25 02:30' ¦ '2012-10-28 02:30' ¦ '1900-01-01 12:00'⟧ AT TIME ZONE ⟦'Europe/Berlin' ¦ 'America/New_York' ¦ 'Asia/Kolkata' ¦ 'UTC' ¦ 'europe/london'⟧) AT TIME ZONE 'UTC' AS text)
SELECT CAST((TIMESTAMP ⟦'2012-07-01 12:00' ¦ '2012-11-04 05:30' ¦ '2012-03-11 07:30'⟧ AT TIME ZONE 'UTC') AT TIME ZONE ⟦'Europe/Berlin' ¦ 'America/New_York' ¦ INTERVAL '05:30' ¦ INTERVAL '-08:00'⟧ AS text)
SELECT TIMESTAMP '2012-07-01 12:00' AT TIME ZONE ⟦'Europe/Nowhere' ¦ '' ¦ INTERVAL '1 month'⟧
SELECT g, SUM(day - DATE '2012-01-01' + 0), SUM(at - TIMESTAMP '2012-01-01'), AVG(at - TIMESTAMP '2012-01-01'), MIN(at - TIMESTAMP '2012-01-02'), MAX(AGE(day, DATE '2012-01-31')), COUNT(at - TIMESTAMP '2012-01-01'), COUNT(DISTINCT AGE(day)) FROM facts GROUP BY g ORDER BY g
SELECT AGE(day, DATE '2011-12-15') AS a, COUNT(*) FROM facts GROUP BY 1 ORDER BY 1 NULLS LAST, 2
SELECT DISTINCT DATE_TRUNC('month', AGE(day, DATE '2011-12-15')) AS a FROM facts ORDER BY 1 NULLS LAST
SELECT n, SUM(DISTINCT INTERVAL '1 hour' * n), AVG(DISTINCT INTERVAL '1 day 1 hour' * n), SUM(INTERVAL '1 mon' * x) FROM facts GROUP BY n ORDER BY n NULLS LAST
SELECT n, x, INTERVAL '1 day' * x AS i FROM facts WHERE INTERVAL '1 day' * x > '-3 days' ORDER BY INTERVAL '1 day' * x DESC NULLS LAST, n LIMIT 7
SELECT day, n, SUM(n) OVER (ORDER BY day RANGE BETWEEN INTERVAL ⟦'7 days' ¦ '1 month' ¦ '0' ¦ '36 hours'⟧ PRECEDING AND ⟦CURRENT ROW ¦ INTERVAL '3 days' FOLLOWING ¦ UNBOUNDED FOLLOWING ¦ '1 day' FOLLOWING⟧) AS s FROM facts WHERE day IS NOT NULL ORDER BY day, n NULLS LAST
SELECT at, COUNT(*) OVER (ORDER BY at ⟦ASC ¦ DESC⟧ RANGE BETWEEN INTERVAL '5 hours' PRECEDING AND INTERVAL '1 hour' ⟦PRECEDING ¦ FOLLOWING⟧) AS c FROM facts WHERE at IS NOT NULL ORDER BY at
SELECT n, COUNT(*) OVER (ORDER BY INTERVAL '1 day' * n RANGE BETWEEN '48:00' PRECEDING AND CURRENT ROW) AS c FROM facts WHERE n IS NOT NULL ORDER BY n
SELECT day, SUM(at - TIMESTAMP '2012-01-01') OVER (ORDER BY at ⟦ROWS UNBOUNDED PRECEDING ¦ ROWS 2 PRECEDING ¦ RANGE '10 hours' PRECEDING⟧) AS s, AVG(INTERVAL '1 hour' * n) OVER (ORDER BY at ROWS 2 PRECEDING), LAG(AGE(day, DATE '2012-01-01')) OVER (ORDER BY at) FROM facts WHERE at IS NOT NULL ORDER BY at
SELECT SUM(n) OVER (ORDER BY day RANGE BETWEEN ⟦INTERVAL '-1 day' ¦ 1 ¦ INTERVAL '1 day' * -1⟧ PRECEDING AND CURRENT ROW) FROM facts
SELECT CAST((TIMESTAMP '2012-07-01 12:00' AT TIME ZONE z) AT TIME ZONE 'UTC' AS text), CAST((TIMESTAMP '2012-01-01 12:00' AT TIME ZONE 'UTC') AT TIME ZONE z AS text) FROM (SELECT CASE WHEN n > 2 THEN 'Europe/Berlin' WHEN n > 1 THEN 'America/New_York' WHEN n IS NOT NULL THEN 'Asia/Kolkata' END AS z, n FROM facts) AS q ORDER BY 1 NULLS LAST, 2
SELECT TIMESTAMP '2012-07-01 12:00' AT TIME ZONE (w || 'x') FROM facts
