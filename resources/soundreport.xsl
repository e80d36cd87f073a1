<?xml version="1.0" encoding="UTF-8"?>
<!-- The sound report: a page of the takes in "soundreport.xml", a table for each project, roll and day. It reads the
     report as it stands, or the program's own reading of it, REPORT, in which each take is a FOUND with its number, the state of
     its text and, in FILES, what the report does not hold. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="html" encoding="UTF-8" doctype-system="about:legacy-compat" indent="no"/>
<xsl:strip-space elements="*"/>

<!-- The style sheet's text; without it the page refers to the file beside it. -->
<xsl:param name="style"/>

<xsl:key name="session" match="BWFXML" use="concat(PROJECT, '&#10;', TAPE, '&#10;', BEXT/BWF_ORIGINATION_DATE)"/>
<xsl:key name="project" match="BWFXML" use="PROJECT"/>
<xsl:key name="roll" match="BWFXML" use="TAPE"/>
<xsl:key name="rate" match="BWFXML" use="SPEED/FILE_SAMPLE_RATE"/>

<xsl:variable name="takes" select="//BWFXML"/>
<!-- Looking a key up gathers all its takes: done for each of thousands it would take minutes. So the first of each kind
     are sought among those that differ from the take before. -->
<xsl:variable name="changes" select="$takes[not(preceding-sibling::BWFXML[1] | ../preceding-sibling::FOUND[1]) or concat(PROJECT, '&#10;', TAPE, '&#10;', BEXT/BWF_ORIGINATION_DATE, '&#10;', SPEED/FILE_SAMPLE_RATE) != concat((preceding-sibling::BWFXML[1] | ../preceding-sibling::FOUND[1]/BWFXML)/PROJECT, '&#10;', (preceding-sibling::BWFXML[1] | ../preceding-sibling::FOUND[1]/BWFXML)/TAPE, '&#10;', (preceding-sibling::BWFXML[1] | ../preceding-sibling::FOUND[1]/BWFXML)/BEXT/BWF_ORIGINATION_DATE, '&#10;', (preceding-sibling::BWFXML[1] | ../preceding-sibling::FOUND[1]/BWFXML)/SPEED/FILE_SAMPLE_RATE)]"/>
<xsl:variable name="sessions" select="$changes[generate-id() = generate-id(key('session', concat(PROJECT, '&#10;', TAPE, '&#10;', BEXT/BWF_ORIGINATION_DATE))[1])]"/>
<!-- One take of each sample rate, to add lengths up by. -->
<xsl:variable name="rates" select="$changes[generate-id() = generate-id(key('rate', SPEED/FILE_SAMPLE_RATE)[1])]"/>

<xsl:template match="/">
  <html lang="en">
    <head>
      <meta name="viewport" content="width=device-width, initial-scale=1"/>
      <meta name="color-scheme" content="light"/>
      <title>Sound report<xsl:for-each select="$takes[1]/PROJECT"> – <xsl:value-of select="."/></xsl:for-each></title>
      <xsl:choose>
        <xsl:when test="$style"><style><xsl:value-of select="$style"/></style></xsl:when>
        <xsl:otherwise><link rel="stylesheet" href="soundreport.css"/></xsl:otherwise>
      </xsl:choose>
    </head>
    <body>
      <xsl:call-template name="masthead"/>
      <xsl:call-template name="warnings"/>
      <xsl:for-each select="$sessions">
        <xsl:call-template name="session"/>
      </xsl:for-each>
      <footer>
        <span>
          <xsl:call-template name="totals"><xsl:with-param name="of" select="$takes"/></xsl:call-template>
        </span>
        <span>Vurl Recorder</span>
      </footer>
    </body>
  </html>
</xsl:template>

<xsl:template name="masthead">
  <header>
    <p class="kind">Sound report</p>
    <h1>
      <xsl:for-each select="$sessions[generate-id() = generate-id(key('project', PROJECT)[1])]">
        <xsl:if test="position() > 1">, </xsl:if><xsl:value-of select="PROJECT"/>
      </xsl:for-each>
      <xsl:if test="not($takes)">No takes yet</xsl:if>
    </h1>
    <xsl:if test="$takes">
      <dl>
        <div><dt>Roll</dt><dd>
          <xsl:for-each select="$sessions[generate-id() = generate-id(key('roll', TAPE)[1])]">
            <xsl:if test="position() > 1">, </xsl:if><xsl:value-of select="TAPE"/>
          </xsl:for-each>
        </dd></div>
        <div><dt>Date</dt><dd><xsl:call-template name="dates"/></dd></div>
        <div><dt>Takes</dt><dd><xsl:value-of select="count($takes)"/></dd></div>
        <div><dt>Total length</dt><dd><xsl:call-template name="length"><xsl:with-param name="of" select="$takes"/></xsl:call-template></dd></div>
        <xsl:for-each select="$takes[last()]/*/CONTACT_INFO[normalize-space()]">
          <div class="text"><dt>Contact</dt><dd><xsl:value-of select="."/></dd></div>
        </xsl:for-each>
      </dl>
    </xsl:if>
  </header>
</xsl:template>

<!-- From the first day to the last. -->
<xsl:template name="dates">
  <xsl:for-each select="$sessions/BEXT/BWF_ORIGINATION_DATE">
    <xsl:sort select="."/>
    <xsl:if test="position() = 1"><time><xsl:value-of select="."/></time></xsl:if>
    <xsl:if test="position() = last() and $sessions/BEXT/BWF_ORIGINATION_DATE != ."> – <time><xsl:value-of select="."/></time></xsl:if>
  </xsl:for-each>
</xsl:template>

<xsl:template name="warnings">
  <xsl:variable name="affected" select="//FOUND[@state != 'whole']"/>
  <xsl:if test="$affected">
    <aside>
      <strong>Please check <xsl:value-of select="count($affected)"/> of the takes.</strong>
      Characters such as &amp; or &lt; in their texts have broken the report's XML; they are shown here as far as they could be read:
      <xsl:for-each select="$affected">
        <xsl:if test="position() > 1">, </xsl:if>
        <a href="#take{@number}"><xsl:for-each select="BWFXML"><xsl:call-template name="take-name"/></xsl:for-each></a>
      </xsl:for-each>.
    </aside>
  </xsl:if>
</xsl:template>

<xsl:template name="take-name">
  <xsl:choose>
    <xsl:when test="SCENE != '' or SLATE != '' or TAKE != ''">scene <xsl:value-of select="SCENE"/>, slate <xsl:value-of select="SLATE"/>, take <xsl:value-of select="TAKE"/></xsl:when>
    <xsl:otherwise>number <xsl:value-of select="../@number"/> of the report</xsl:otherwise>
  </xsl:choose>
</xsl:template>

<!-- The takes of one project, roll and day; the first of them is the context. -->
<xsl:template name="session">
  <xsl:variable name="own" select="key('session', concat(PROJECT, '&#10;', TAPE, '&#10;', BEXT/BWF_ORIGINATION_DATE))"/>
  <section>
    <h2>
      <span class="roll">Roll <xsl:value-of select="TAPE"/></span>
      <span><xsl:value-of select="PROJECT"/></span>
      <time><xsl:value-of select="BEXT/BWF_ORIGINATION_DATE"/></time>
      <span class="format"><xsl:call-template name="format"/></span>
    </h2>
    <xsl:for-each select="$own[normalize-space(*/SESSION_NOTE)][1]">
      <p class="session-note"><xsl:value-of select="*/SESSION_NOTE"/></p>
    </xsl:for-each>
    <table>
      <thead>
        <tr>
          <th>Scene</th><th>Slate</th><th>Take</th><th>Timecode in</th><th>Timecode out</th><th>Duration</th>
          <th class="files">File and tracks</th><th class="note">Note</th>
        </tr>
      </thead>
      <xsl:for-each select="$own"><xsl:call-template name="take"/></xsl:for-each>
    </table>
    <p class="sum">
      <xsl:call-template name="totals"><xsl:with-param name="of" select="$own"/></xsl:call-template>
    </p>
  </section>
</xsl:template>

<!-- "48 kHz, 24 bit, 25 fps" -->
<xsl:template name="format">
  <xsl:if test="SPEED/FILE_SAMPLE_RATE > 0"><xsl:value-of select="SPEED/FILE_SAMPLE_RATE div 1000"/> kHz</xsl:if>
  <xsl:for-each select="SPEED/AUDIO_BIT_DEPTH"> · <xsl:value-of select="."/> bit<xsl:if test="../AUDIO_ENCODING = 'PCM float'"> float</xsl:if></xsl:for-each>
  <xsl:for-each select="SPEED/TIMECODE_RATE">
    <xsl:variable name="fps" select="substring-before(., '/') div substring-after(., '/')"/>
    <xsl:text> · </xsl:text>
    <xsl:value-of select="floor($fps * 1000 + 0.5) div 1000"/> fps<xsl:if test="../TIMECODE_FLAG = 'DF'"> drop</xsl:if>
  </xsl:for-each>
</xsl:template>

<xsl:template name="take">
  <tbody>
    <xsl:for-each select="../@number"><xsl:attribute name="id">take<xsl:value-of select="."/></xsl:attribute></xsl:for-each>
    <xsl:if test="../@state != 'whole' and ../@state"><xsl:attribute name="class">affected</xsl:attribute></xsl:if>
    <tr>
      <td class="scene"><xsl:value-of select="SCENE"/></td>
      <td><xsl:value-of select="SLATE"/></td>
      <td class="number"><xsl:value-of select="TAKE"/><xsl:if test="COUNT > 1"><small> part <xsl:value-of select="COUNT"/></small></xsl:if></td>
      <td class="time"><xsl:value-of select="SPEED/TIMESTAMP_TEXT"/></td>
      <td class="time"><xsl:call-template name="timecode-out"/></td>
      <td class="time"><xsl:value-of select="SPEED/DURATION_TEXT"/></td>
      <td class="files"><xsl:call-template name="files"/></td>
      <td class="note">
        <xsl:value-of select="NOTE"/>
        <xsl:if test="../@state = 'repaired'"><em>Characters in this take's text had broken the XML.</em></xsl:if>
        <xsl:if test="../@state = 'damaged'"><em>Parts of this take could not be read.</em></xsl:if>
      </td>
    </tr>
  </tbody>
</xsl:template>

<!-- The files that the program knows of, or the one that the report names. -->
<xsl:template name="files">
  <xsl:variable name="name" select="substring-before(concat(substring-after(BEXT/BWF_DESCRIPTION, 'bFILENAME='), '&#10;'), '&#10;')"/>
  <xsl:choose>
    <xsl:when test="../FILES/FILE">
      <xsl:for-each select="../FILES/FILE">
        <div class="file"><code><xsl:value-of select="@name"/></code><xsl:apply-templates select="TRACK_LIST"/></div>
      </xsl:for-each>
    </xsl:when>
    <xsl:otherwise>
      <div class="file"><code><xsl:value-of select="normalize-space($name)"/></code><xsl:apply-templates select="TRACK_LIST"/></div>
    </xsl:otherwise>
  </xsl:choose>
  <xsl:variable name="missing" select="FILE_SET/TOTAL_FILES - count(../FILES/FILE) - not(../FILES/FILE)"/>
  <xsl:if test="$missing > 0"><small>and <xsl:value-of select="$missing"/> more file<xsl:if test="$missing > 1">s</xsl:if></small></xsl:if>
</xsl:template>

<xsl:template match="TRACK_LIST">
  <ol class="tracks">
    <xsl:for-each select="TRACK">
      <li><b><xsl:value-of select="CHANNEL_INDEX"/></b><xsl:if test="NAME != ''"><xsl:text> </xsl:text><xsl:value-of select="NAME"/></xsl:if></li>
    </xsl:for-each>
  </ol>
</xsl:template>

<!-- The label of the first frame behind the take, after SMPTE ST 12-1: the samples since midnight as frames, with the
     labels that drop-frame counting leaves out, two a minute but for each tenth. -->
<xsl:template name="timecode-out">
  <xsl:variable name="rate" select="SPEED/TIMECODE_RATE"/>
  <xsl:variable name="samples" select="SPEED/TIMESTAMP_SAMPLES_SINCE_MIDNIGHT_HI * 4294967296 + SPEED/TIMESTAMP_SAMPLES_SINCE_MIDNIGHT_LO + SPEED/DURATION_SAMPLES"/>
  <xsl:variable name="frames" select="floor($samples * substring-before($rate, '/') div (substring-after($rate, '/') * SPEED/TIMESTAMP_SAMPLE_RATE))"/>
  <xsl:variable name="base" select="ceiling(substring-before($rate, '/') div substring-after($rate, '/'))"/>
  <xsl:variable name="in-ten-minutes" select="$frames mod 17982"/>
  <xsl:variable name="dropped" select="(SPEED/TIMECODE_FLAG = 'DF') * (18 * floor($frames div 17982) + ($in-ten-minutes > 1) * 2 * floor(($in-ten-minutes - 2) div 1798))"/>
  <xsl:variable name="label" select="$frames + $dropped"/>
  <xsl:choose>
    <xsl:when test="$label >= 0 and $base > 0">
      <xsl:value-of select="format-number(floor($label div ($base * 3600)) mod 24, '00')"/>:<xsl:value-of select="format-number(floor($label div ($base * 60)) mod 60, '00')"/>:<xsl:value-of select="format-number(floor($label div $base) mod 60, '00')"/>:<xsl:value-of select="format-number($label mod $base, '00')"/>
    </xsl:when>
    <xsl:when test="../FILES/@out"><xsl:value-of select="../FILES/@out"/></xsl:when>
    <xsl:otherwise>–</xsl:otherwise>
  </xsl:choose>
</xsl:template>

<!-- "12 takes, 1:02:03" -->
<xsl:template name="totals">
  <xsl:param name="of"/>
  <xsl:value-of select="count($of)"/> take<xsl:if test="count($of) != 1">s</xsl:if>
  <xsl:text>, </xsl:text>
  <xsl:call-template name="length"><xsl:with-param name="of" select="$of"/></xsl:call-template>
</xsl:template>

<!-- The length of the takes `of` together, as h:mm:ss. -->
<xsl:template name="length">
  <xsl:param name="of"/>
  <xsl:variable name="seconds"><xsl:call-template name="seconds"><xsl:with-param name="of" select="$of"/><xsl:with-param name="left" select="$rates"/></xsl:call-template></xsl:variable>
  <xsl:variable name="whole" select="floor($seconds + 0.5)"/>
  <span class="time"><xsl:value-of select="floor($whole div 3600)"/>:<xsl:value-of select="format-number(floor($whole div 60) mod 60, '00')"/>:<xsl:value-of select="format-number($whole mod 60, '00')"/></span>
</xsl:template>

<xsl:template name="seconds">
  <xsl:param name="of"/>
  <xsl:param name="left"/>
  <xsl:param name="sum" select="0"/>
  <xsl:variable name="rate" select="number($left[1]/SPEED/FILE_SAMPLE_RATE)"/>
  <xsl:variable name="samples" select="sum($of[SPEED/FILE_SAMPLE_RATE = $rate]/SPEED/DURATION_SAMPLES)"/>
  <xsl:choose>
    <xsl:when test="not($left)"><xsl:value-of select="$sum"/></xsl:when>
    <xsl:otherwise>
      <xsl:call-template name="seconds">
        <xsl:with-param name="of" select="$of"/>
        <xsl:with-param name="left" select="$left[position() > 1]"/>
        <xsl:with-param name="sum">
          <xsl:choose>
            <xsl:when test="$rate > 0 and $samples >= 0"><xsl:value-of select="$sum + $samples div $rate"/></xsl:when>
            <xsl:otherwise><xsl:value-of select="$sum"/></xsl:otherwise>
          </xsl:choose>
        </xsl:with-param>
      </xsl:call-template>
    </xsl:otherwise>
  </xsl:choose>
</xsl:template>

</xsl:stylesheet>
